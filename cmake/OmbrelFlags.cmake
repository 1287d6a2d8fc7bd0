# Compiler flags of every target of the project.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
# CMake ends the search path of a program that it installs with an empty element, which is the working directory: the
# program would load its libraries from wherever it is started. All of them are the system's and need no path.
set(CMAKE_SKIP_BUILD_RPATH ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

find_program(OMBREL_CCACHE ccache)
if(OMBREL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${OMBREL_CCACHE})
endif()

add_library(ombrel_flags INTERFACE)
target_compile_options(ombrel_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Werror
    # A fused multiply-add rounds once where two operations round twice: results would hang on the processor.
    -ffp-contract=off
    # g++ 12 sees overlaps in joined std::strings that are not there.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    # It takes a class without a name outside its file, compiled together with others, for a mistake.
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<BOOL:${CMAKE_UNITY_BUILD}>>:-Wno-subobject-linkage>)

if(OMBREL_SANITIZE)
    # Not "vptr": it compares type names by address, and a plug-in that hides its symbols has copies of its own.
    set(sanitizers -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all)
    target_compile_options(ombrel_flags INTERFACE ${sanitizers} -fno-omit-frame-pointer -D_GLIBCXX_ASSERTIONS)
    target_link_options(ombrel_flags INTERFACE ${sanitizers})
    # What the sanitizers know of the sources is a million pointers, which a program that may lie anywhere in memory
    # relocates at each start. Tests start it a thousand times.
    target_link_options(ombrel_flags INTERFACE $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
endif()
if(OMBREL_SANITIZE_THREADS)
    target_compile_options(ombrel_flags INTERFACE -fsanitize=thread)
    target_link_options(ombrel_flags INTERFACE -fsanitize=thread)
endif()
