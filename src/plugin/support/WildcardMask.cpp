#include "support/WildcardMask.h"

namespace {

const char* skipStars(const char* mask) {
    while (*mask == '*')
        ++mask;
    return mask;
}

bool matchesOne(char character, char maskCharacter) {
    return maskCharacter == '?' ? character != '.' : maskCharacter == character;
}

} // namespace

int matchMask(const char* name, const char* mask) {
    // Where to go on after a mismatch: behind the last star, which then takes one character more.
    const char* resumeMask = nullptr;
    const char* resumeName = nullptr;
    while (*name) {
        if (*mask == '*') {
            mask = skipStars(mask);
            if (!*mask)
                return 1;
            resumeMask = mask;
            resumeName = name;
        } else if (matchesOne(*name, *mask)) {
            ++mask;
            ++name;
        } else if (resumeMask) {
            mask = resumeMask;
            name = ++resumeName;
        } else {
            return 0;
        }
    }
    return *skipStars(mask) == '\0';
}
