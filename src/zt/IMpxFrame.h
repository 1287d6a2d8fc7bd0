#pragma once

#include "zt/IDataBuff.h"
#include "zt/IObject.h"
#include "zt/IStrList.h"
#include "zt/String.h"
#include "zt/Types.h"

#include <string>
#include <vector>

namespace zt {

// A reference-counted object that passes through a filter.
//
// Whoever gets a new object owns one reference and ends it with release(), or with destroy() for a clone that
// is not passed on.
class IData {
public:
    static constexpr int TYPE_FRAME = 1; // the object is an IMpxFrame at the same address

    virtual int type() const = 0;
    virtual void addRef() = 0;
    // Drops a reference; the last one frees the object.
    virtual void release() = 0;
    // Frees an object that clone() returned.
    virtual void destroy() = 0;
    // A copy of the same concrete type with its own contents, owned by the caller. Never null.
    virtual IData* clone() const = 0;
};

// A frame: width() x height() pixels of one data type, row-major, pixel (x, y) at index y * width + x.
//
// A frame must own room for width() + 1 more elements after its pixels, since binning of odd sizes reads and
// writes there.
class IMpxFrame : public IData {
public:
    // Copies the pixels into the buffer, converted to `dataType` (DataType, 0 to 9).
    virtual void getData(IByteBuff* out, u8 dataType) = 0;
    // Points the buffer at the frame's own pixels in their present type: writes through it change the frame.
    // Valid until the frame is converted or freed. Filters pass 0.0.
    virtual void refData(IRefByteBuff* out, double zero) = 0;
    // The pixels of a frame of type DT_DOUBLE. Filters pass 0.0.
    virtual double* doubleData(double zero) = 0;
    virtual u64 size() const = 0; // width() * height()
    virtual u32 width() const = 0;
    virtual u32 height() const = 0;
    virtual u8 frameDataType() const = 0;
    // Converts the pixels in place.
    virtual void convertToType(u8 dataType) = 0;
    virtual void frameName(IString* out) const = 0;
    // Sets all pixels to 0.
    virtual void clear() = 0;
    // Repeats IData::clone() to show its place among the operations; it adds no slot.
    IData* clone() const override = 0;
    // Adds the pixels of a frame of the same size to this one's.
    virtual void addFrame(IMpxFrame* other) = 0;
    virtual void multiplyBy(double factor) = 0;
    virtual double acqTime() const = 0; // seconds; 0 when unknown
    virtual int subFrameCount() const = 0;
    // Appends the sub-frames. The frame keeps ownership.
    virtual void subFrames(IPtrList<IMpxFrame*>* out) const = 0;

    std::vector<IMpxFrame*> subFrames() const {
        PtrList<IMpxFrame*> list;
        subFrames(&list);
        return list.vect();
    }

    std::string frameName() const {
        String name;
        frameName(&name);
        return name.get();
    }
};

} // namespace zt
