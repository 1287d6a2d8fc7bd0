#pragma once

#include "zt/IObject.h"
#include "zt/String.h"
#include "zt/Types.h"

#include <string>

namespace zt {

// A store of settings on a file: groups of keys, each key with a value of one type. Getters return the
// default when the key is absent. Whoever created the store ends it with destroy(), which saves nothing.
class ISettings {
public:
    // Reads the store from its file.
    virtual void load() = 0;
    // Writes the store to its file.
    virtual void save() = 0;

    virtual void setString(const char* group, const char* key, const char* value) = 0;
    virtual void setInt(const char* group, const char* key, int value) = 0;
    virtual void setDouble(const char* group, const char* key, double value) = 0;
    virtual void setBool(const char* group, const char* key, bool value) = 0;
    virtual void setBlob(const char* group, const char* key, const void* data, u64 byteSize) = 0;

    virtual void getString(const char* group, const char* key, const char* defaultValue, IString* out) = 0;
    virtual int getInt(const char* group, const char* key, int defaultValue) = 0;
    virtual double getDouble(const char* group, const char* key, double defaultValue) = 0;
    virtual bool getBool(const char* group, const char* key, bool defaultValue) = 0;
    // Copies at most *byteSize bytes into the buffer and sets *byteSize to the number copied, 0 when the key
    // is absent.
    virtual void getBlob(const char* group, const char* key, void* buffer, u64* byteSize) = 0;

    virtual void getFilePath(IString* out) const = 0;
    virtual void destroy() = 0;

    std::string getFilePath() const {
        String path;
        getFilePath(&path);
        return path.get();
    }

    std::string getString(const char* group, const char* key, const char* defaultValue) {
        String value;
        getString(group, key, defaultValue, &value);
        return value.get();
    }
};

} // namespace zt
