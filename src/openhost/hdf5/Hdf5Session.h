#pragma once

#include <mutex>
#include <string>

namespace ombrel {

// Holds the HDF5 library, which is not made for several threads everywhere, for one of them; and keeps it
// from printing errors and from doing things at exit, where it may crash after a close that failed. Every use
// of the library stands in the scope of one; scopes may be nested.
class Hdf5Session {
public:
    Hdf5Session();

    // Throws std::bad_alloc when there is too little memory for opening or making a file: the library does
    // not survive that everywhere.
    static void checkMemory();

    // ": the library's words" for the last error, or nothing.
    static std::string reason();

private:
    std::unique_lock<std::recursive_mutex> lock;
};

} // namespace ombrel
