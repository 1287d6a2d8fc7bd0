#pragma once

#include "zt/IRefDataBuff.h"

#include <cstddef>

namespace zt {

// T must be the element type of what it is pointed at; nothing is converted or copied.
template <typename T>
class RefDataBuff : public IRefDataBuff<T> {
public:
    std::size_t size() const override { return count; }
    std::size_t byteSize() const override { return count * sizeof(T); }
    unsigned char* dataByte() override { return reinterpret_cast<unsigned char*>(array); }

    void setByte(const unsigned char* bytes, std::size_t byteCount) override {
        // The interface hands over const bytes, yet writing through the look is what it is for.
        set(reinterpret_cast<T*>(const_cast<unsigned char*>(bytes)), byteCount / sizeof(T));
    }

    T* data() override { return array; }
    const T* data() const override { return array; }

    void set(T* values, std::size_t valueCount) override {
        array = values;
        count = valueCount;
    }

private:
    std::size_t count = 0;
    T* array = nullptr;
};

} // namespace zt
