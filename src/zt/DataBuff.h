#pragma once

#include "zt/IDataBuff.h"

#include <algorithm>
#include <cstddef>

namespace zt {

// The owner of an array that an interface sizes and fills. Its elements are uninitialised after a resize.
//
// resize(0) frees the array but leaves data() at its old, now dead, address; only clear() makes it null.
// The array is therefore owned exactly while size() is not 0.
template <typename T>
class DataBuff : public IDataBuff<T> {
public:
    DataBuff() = default;
    DataBuff(const DataBuff&) = delete;
    DataBuff& operator=(const DataBuff&) = delete;

    std::size_t size() const override { return count; }
    std::size_t byteSize() const override { return count * sizeof(T); }
    unsigned char* dataByte() override { return reinterpret_cast<unsigned char*>(array); }
    void resizeByte(std::size_t bytes) override { resize(bytes / sizeof(T)); }
    T* data() override { return array; }
    const T* data() const override { return array; }

    void resize(std::size_t newCount) override {
        if (newCount == count)
            return;
        freeArray();
        if (newCount != 0)
            array = new T[newCount];
        count = newCount;
    }

    virtual ~DataBuff() { freeArray(); }

    virtual void clear() {
        freeArray();
        array = nullptr;
    }

    // Takes a copy of `valueCount` elements.
    virtual void assignData(const T* values, std::size_t valueCount) {
        if (valueCount != count)
            resize(valueCount);
        std::copy_n(values, valueCount, array);
    }

private:
    void freeArray() {
        if (count != 0)
            delete[] array;
        count = 0;
    }

    std::size_t count = 0;
    T* array = nullptr;
};

// T must be the element type of what it is pointed at; nothing is converted or copied.
template <typename T>
class RefDataBuff : public IRefDataBuff<T> {
public:
    std::size_t size() const override { return count; }
    std::size_t byteSize() const override { return count * sizeof(T); }
    unsigned char* dataByte() override { return reinterpret_cast<unsigned char*>(array); }

    void setByte(const unsigned char* bytes, std::size_t byteCount) override {
        // The interface passes const bytes, but callers write through this view.
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
