#pragma once

namespace zt {

class IDev {
public:
    // 1, 2, 3, 4 and 10 are pixel detectors: such a device is an IDevMpx at the same address.
    virtual int deviceType() const = 0;
};

} // namespace zt
