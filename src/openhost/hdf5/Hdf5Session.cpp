#include "hdf5/Hdf5Session.h"

#include <hdf5.h>

#include <algorithm>
#include <cstddef>
#include <new>
#include <string_view>
#include <sys/mman.h>

namespace ombrel {

namespace {

std::recursive_mutex& libraryMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

// What the library says of a failed system call goes over two lines, with times and addresses: only what
// failed and why is kept.
std::string oneLine(std::string text) {
    constexpr std::string_view mark = "error message = '";
    const auto details = text.find(": time = ");
    const auto begin = text.find(mark);
    if (details != std::string::npos && begin != std::string::npos) {
        const auto message = begin + mark.size();
        text = text.substr(0, details) + ": " + text.substr(message, text.find('\'', message) - message);
    }
    std::ranges::replace(text, '\n', ' ');
    return text;
}

} // namespace

Hdf5Session::Hdf5Session() : lock{libraryMutex()} {
    static const herr_t cleanUpAtExitIsOff = (checkMemory(), H5dont_atexit());
    static_cast<void>(cleanUpAtExitIsOff);
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
}

void Hdf5Session::checkMemory() {
    constexpr std::size_t tablesOfOneFile = std::size_t{16} << 20;
    void* const room =
        ::mmap(nullptr, tablesOfOneFile, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (room == MAP_FAILED)
        throw std::bad_alloc();
    ::munmap(room, tablesOfOneFile);
}

std::string Hdf5Session::reason() {
    std::string text;
    const auto keepFirst = [](unsigned, const H5E_error2_t* error, void* kept) -> herr_t {
        auto& first = *static_cast<std::string*>(kept);
        if (first.empty() && error->desc)
            first = ": " + oneLine(error->desc);
        return 0;
    };
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, keepFirst, &text);
    return text;
}

} // namespace ombrel
