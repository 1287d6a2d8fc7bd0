#pragma once

#include <cstddef>

namespace zt {

// A growable array that the callee sizes and fills, and the caller owns.
class IByteBuff {
public:
    virtual std::size_t size() const = 0;     // elements
    virtual std::size_t byteSize() const = 0; // bytes
    virtual unsigned char* dataByte() = 0;
    // Makes room for `bytes` bytes. The contents are lost when the size changes.
    virtual void resizeByte(std::size_t bytes) = 0;
};

template <typename T>
class IDataBuff : public IByteBuff {
public:
    virtual T* data() = 0;
    virtual const T* data() const = 0;
    // Makes room for `count` elements. The contents are lost when the size changes.
    virtual void resize(std::size_t count) = 0;
};

// A look at an array that stays with its owner: the callee points it at its own memory.
class IRefByteBuff {
public:
    virtual std::size_t size() const = 0;     // elements
    virtual std::size_t byteSize() const = 0; // bytes
    virtual unsigned char* dataByte() = 0;
    // Looks at `bytes` bytes from `data` on; a last incomplete element is left out.
    virtual void setByte(const unsigned char* data, std::size_t bytes) = 0;
};

template <typename T>
class IRefDataBuff : public IRefByteBuff {
public:
    virtual T* data() = 0;
    virtual const T* data() const = 0;
    virtual void set(T* data, std::size_t count) = 0;
};

} // namespace zt
