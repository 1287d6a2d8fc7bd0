#pragma once

#include <string>
#include <vector>

namespace zt {

// A list of texts that crosses the border. The list owns copies of them.
class IStrList {
public:
    virtual unsigned int size() const = 0;
    // Unchecked: `index` must be below size(). Valid until the list changes.
    virtual const char* get(unsigned int index) const = 0;
    virtual void add(const char* value) = 0;
    // Inserts ahead of `index`, which is unchecked and may equal size().
    virtual void insert(int index, const char* value) = 0;
    // 0, or -1 with nothing changed when `index` is not below size().
    virtual int erase(unsigned int index) = 0;
    virtual void clear() = 0;
    virtual ~IStrList() = default;

    // A copy of the list as a vector.
    std::vector<std::string> vect() const {
        std::vector<std::string> values;
        for (unsigned int i = 0; i < size(); ++i)
            values.emplace_back(get(i));
        return values;
    }
};

// A list of pointers that crosses the border. It never owns what the pointers point at.
template <typename T>
class IPtrList {
public:
    virtual unsigned int size() const = 0;
    // Unchecked: `index` must be below size().
    virtual T get(unsigned int index) const = 0;
    virtual void add(T value) = 0;
    // Inserts ahead of `index`, which is unchecked and may equal size().
    virtual void insert(int index, T value) = 0;
    // 0, or -1 with nothing changed when `index` is not below size().
    virtual int erase(unsigned int index) = 0;
    virtual void clear() = 0;
    virtual ~IPtrList() = default;

    // A copy of the list as a vector.
    std::vector<T> vect() const {
        std::vector<T> values;
        for (unsigned int i = 0; i < size(); ++i)
            values.push_back(get(i));
        return values;
    }
};

} // namespace zt
