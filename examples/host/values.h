#pragma once

// The objects that a host hands to a filter, in their plainest form: frames of doubles, and parameters.

#include "zt/DataBuff.h"
#include "zt/IZenteo.h"

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace example {

using zt::u32, zt::u64, zt::u8;

// A frame that always holds doubles. After its pixels is room that binning of odd sizes reads and writes.
class Frame final : public zt::IMpxFrame {
public:
    Frame(u32 frameWidth, u32 frameHeight)
        : columns(frameWidth), rows(frameHeight), pixels(size() + columns + 1) {}

    int type() const override { return TYPE_FRAME; }
    void addRef() override { ++references; }
    void release() override {
        if (--references == 0)
            destroy();
    }
    void destroy() override { delete this; }
    IData* clone() const override {
        auto copy = std::make_unique<Frame>(columns, rows);
        copy->pixels = pixels;
        return copy.release();
    }
    void getData(zt::IByteBuff* out, u8) override {
        out->resizeByte(size() * sizeof(double));
        std::memcpy(out->dataByte(), pixels.data(), out->byteSize());
    }
    void refData(zt::IRefByteBuff* out, double) override {
        out->setByte(reinterpret_cast<unsigned char*>(pixels.data()), size() * sizeof(double));
    }
    double* doubleData(double) override { return pixels.data(); }
    u64 size() const override { return u64{columns} * rows; }
    u32 width() const override { return columns; }
    u32 height() const override { return rows; }
    u8 frameDataType() const override { return zt::DT_DOUBLE; }
    void convertToType(u8) override {}
    void frameName(zt::IString* out) const override { out->set("example"); }
    void clear() override { pixels.assign(pixels.size(), 0); }
    void addFrame(IMpxFrame* other) override {
        for (u64 i = 0; i < size(); ++i)
            pixels[i] += other->doubleData(0)[i];
    }
    void multiplyBy(double factor) override {
        for (double& pixel : pixels)
            pixel *= factor;
    }
    double acqTime() const override { return 1; }
    int subFrameCount() const override { return 0; }
    void subFrames(zt::IPtrList<IMpxFrame*>*) const override {}

private:
    u32 columns;
    u32 rows;
    std::vector<double> pixels;
    int references = 1;
};

// A parameter, kept as text and as a number. A setter calls back, so that the filter takes the value over.
class Param final : public zt::IParam {
public:
    Param(const char* paramName, int dataType, double value, const char* textValue, zt::ParamCallback called,
          void* calledWith)
        : label(paramName), code(dataType), number(value), text(textValue), callback(called),
          userData(reinterpret_cast<long>(calledWith)) {}

    const char* name() const override { return label.c_str(); }
    const char* description() const override { return ""; }
    int type() const override { return code; }
    zt::i8 getI8() const override { return static_cast<zt::i8>(number); }
    u8 getU8() const override { return static_cast<u8>(number); }
    bool getBool() const override { return number != 0; }
    zt::i16 getI16() const override { return static_cast<zt::i16>(number); }
    zt::u16 getU16() const override { return static_cast<zt::u16>(number); }
    zt::i32 getInt() const override { return static_cast<zt::i32>(number); }
    u32 getUInt() const override { return static_cast<u32>(number); }
    zt::i64 getI64() const override { return static_cast<zt::i64>(number); }
    u64 getU64() const override { return static_cast<u64>(number); }
    float getFloat() const override { return static_cast<float>(number); }
    double getDouble() const override { return number; }
    void getString(zt::IString* out) const override { out->set(text.c_str()); }
    void setI8(zt::i8 value) override { store(value); }
    void setU8(u8 value) override { store(value); }
    void setBool(bool value) override { store(value); }
    void setI16(zt::i16 value) override { store(value); }
    void setU16(zt::u16 value) override { store(value); }
    void setInt(zt::i32 value) override { store(value); }
    void setUInt(u32 value) override { store(value); }
    void setI64(zt::i64 value) override { store(static_cast<double>(value)); }
    void setU64(u64 value) override { store(static_cast<double>(value)); }
    void setFloat(float value) override { store(value); }
    void setDouble(double value) override { store(value); }
    void setString(const char* value) override {
        text = value;
        store(number);
    }
    u32 flags() const override { return 0; }
    void getAliasValues(zt::IStrList*) const override {}
    void setAliasValue(const char*) override {}
    void getAliasValue(zt::IString*) const override {}

private:
    void store(double value) {
        number = value;
        if (callback)
            callback(this, false, userData);
    }

    std::string label;
    int code;
    double number;
    std::string text;
    zt::ParamCallback callback;
    long userData;
};

class Params final : public zt::IParamMgr {
public:
    zt::IParam* createBool(const char* name, const char*, bool value, zt::ParamCallback callback,
                           void* userData, int) override {
        return add(name, zt::DT_BOOL, value, "", callback, userData);
    }
    zt::IParam* createInt(const char* name, const char*, zt::i32 value, zt::ParamCallback callback,
                          void* userData, int) override {
        return add(name, zt::DT_I32, value, "", callback, userData);
    }
    zt::IParam* createDouble(const char* name, const char*, double value, zt::ParamCallback callback,
                             void* userData, int) override {
        return add(name, zt::DT_DOUBLE, value, "", callback, userData);
    }
    zt::IParam* createString(const char* name, const char*, const char* value, zt::ParamCallback callback,
                             void* userData, int) override {
        return add(name, zt::DT_STRING, 0, value, callback, userData);
    }
    zt::IParam* param(const char* name) override {
        for (const auto& one : all)
            if (std::strcmp(one->name(), name) == 0)
                return one.get();
        return nullptr;
    }
    u64 paramCount() const override { return all.size(); }
    void params(zt::IPtrList<zt::IParam*>* out) const override {
        for (const auto& one : all)
            out->add(one.get());
    }
    void destroy() override { delete this; }

private:
    zt::IParam* add(const char* name, int type, double value, const char* text, zt::ParamCallback callback,
                    void* userData) {
        return all.emplace_back(std::make_unique<Param>(name, type, value, text, callback, userData)).get();
    }

    std::vector<std::unique_ptr<Param>> all;
};

} // namespace example
