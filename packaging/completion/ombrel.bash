# Completion of ombrel for bash. Commands and options are asked of the program itself.

_ombrel_help() {
    "${COMP_WORDS[0]}" "$@" --help 2>/dev/null
}

# The commands within a command, or of the program itself.
_ombrel_commands() {
    _ombrel_help "$@" | sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]\+\) .*/\1/p'
}

_ombrel() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local commands command=() word
    commands=$(_ombrel_commands)
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ -n $word && " ${commands//$'\n'/ } " == *" $word "* ]] || continue
        command+=("$word")
        commands=$(_ombrel_commands "${command[@]}")
    done

    local candidates
    if [[ ${#command[@]} -eq 0 ]]; then
        candidates="$commands --help --version"
    elif [[ -n $commands && $current != -* ]]; then
        candidates=$commands
    elif [[ $previous == --output-type ]]; then
        candidates="f32 f64 u16 f16"
    elif [[ $previous == --compress ]]; then
        candidates="deflate lz4 bitshuffle"
    elif [[ ${command[0]} == configure && $previous == configure || $previous == -f || $previous == --filter ]]; then
        local IFS=$'\n'
        candidates=$("${COMP_WORDS[0]}" filters 2>/dev/null | grep -A1 '^$' | grep '^[A-Z]')
        COMPREPLY=($(compgen -W "$candidates" -- "${current#[\"\']}"))
        COMPREPLY=("${COMPREPLY[@]// /\\ }")
        return
    elif [[ $current == -* ]]; then
        candidates=$(_ombrel_help "${command[@]}" | grep -oE '^  (-[a-z],)?--[a-z-]+' | grep -oE -- '--[a-z-]+')
    else
        compopt -o default
        COMPREPLY=()
        return
    fi
    COMPREPLY=($(compgen -W "$candidates" -- "$current"))
}

complete -F _ombrel ombrel
