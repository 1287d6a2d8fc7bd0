#include "standalone/Hdf5Session.h"

#include <hdf5.h>

namespace ombrel {

namespace {

std::recursive_mutex& libraryMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

} // namespace

Hdf5Session::Hdf5Session() : lock{libraryMutex()} {
    static const herr_t cleanUpAtExitIsOff = H5dont_atexit();
    static_cast<void>(cleanUpAtExitIsOff);
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
}

std::string Hdf5Session::reason() {
    std::string text;
    const auto keepFirst = [](unsigned, const H5E_error2_t* error, void* kept) -> herr_t {
        auto& first = *static_cast<std::string*>(kept);
        if (first.empty() && error->desc)
            first = std::string(": ") + error->desc;
        return 0;
    };
    H5Ewalk2(H5E_DEFAULT, H5E_WALK_UPWARD, keepFirst, &text);
    return text;
}

} // namespace ombrel
