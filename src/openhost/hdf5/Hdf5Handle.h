#pragma once

#include "hdf5/Hdf5Session.h"

#include <hdf5.h>

#include <utility>

namespace ombrel {

// Owns an identifier of the HDF5 library; none when it is negative.
template <herr_t (*closeIdentifier)(hid_t)>
class Hdf5Handle {
public:
    Hdf5Handle() = default;
    explicit Hdf5Handle(hid_t owned) : identifier{owned} {}
    Hdf5Handle(Hdf5Handle&& other) noexcept : identifier{std::exchange(other.identifier, H5I_INVALID_HID)} {}
    Hdf5Handle& operator=(Hdf5Handle&& other) noexcept {
        std::swap(identifier, other.identifier);
        return *this;
    }
    ~Hdf5Handle() { close(); }

    bool isOpen() const { return identifier >= 0; }
    operator hid_t() const { return identifier; }

    // False when the library reports a failure.
    bool close() {
        if (!isOpen())
            return true;
        const Hdf5Session session;
        return closeIdentifier(std::exchange(identifier, H5I_INVALID_HID)) >= 0;
    }

private:
    hid_t identifier = H5I_INVALID_HID;
};

using Hdf5FileHandle = Hdf5Handle<H5Fclose>;
using Hdf5Group = Hdf5Handle<H5Gclose>;
using Hdf5Object = Hdf5Handle<H5Oclose>;
using Hdf5Dataset = Hdf5Handle<H5Dclose>;
using Hdf5Space = Hdf5Handle<H5Sclose>;
using Hdf5Type = Hdf5Handle<H5Tclose>;
using Hdf5Attribute = Hdf5Handle<H5Aclose>;
using Hdf5Properties = Hdf5Handle<H5Pclose>;

} // namespace ombrel
