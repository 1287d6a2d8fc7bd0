#pragma once

namespace zt {

// What passes through a filter: an object that counts its references.
//
// Whoever gets a new object owns one reference and gives it back with release(), or ends a clone that it will
// not hand on with destroy().
class IData {
public:
    static constexpr int TYPE_FRAME = 1; // the object is an IMpxFrame at the same address

    virtual int type() const = 0;
    virtual void addRef() = 0;
    // Drops a reference; the last one frees the object.
    virtual void release() = 0;
    // Frees an object that was got from clone().
    virtual void destroy() = 0;
    // A copy of the same concrete type with contents of its own, which belongs to the caller. Never null.
    virtual IData* clone() const = 0;
};

} // namespace zt
