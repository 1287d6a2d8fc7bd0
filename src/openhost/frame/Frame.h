#pragma once

#include "frame/FramePool.h"
#include "zt/IMpxFrame.h"
#include "zt/Types.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace ombrel {

class Frame;

struct ReleaseFrame {
    void operator()(Frame* frame) const;
};

// Owns one reference to a frame.
using FramePtr = std::unique_ptr<Frame, ReleaseFrame>;

// A frame of the open host, of any pixel type.
//
// The pixels are followed by room for width + 1 elements of every pixel type, since filters may read and
// write there (binning of odd sizes does). zeroRoom() is called each time the frame is passed to a filter, so
// that no result depends on old contents. Builds with assertions end the program when a frame is destroyed
// that is still referenced.
class Frame final : public zt::IMpxFrame {
public:
    // A frame of zeros with one reference. Throws std::bad_alloc or std::length_error for sizes that are too
    // large, and std::invalid_argument if `dataType` is not a pixel type.
    static FramePtr create(zt::u32 width, zt::u32 height, zt::u8 dataType);
    // Like create(), but with undefined pixels, for callers that write all of them.
    static FramePtr createUnfilled(zt::u32 width, zt::u32 height, zt::u8 dataType);
    // A frame of pixels that a caller lends: they are read in place, and copied before anything changes them
    // in this frame or a clone. They must outlive both, or makeOwn() must be called before they end.
    static FramePtr lend(zt::u32 width, zt::u32 height, zt::u8 dataType, const std::byte* pixels);
    // Offers a caller's memory for as many doubles as the frame has pixels. It is used by the first of this
    // frame and its clones that becomes a frame of doubles of its own; that frame must end before the memory,
    // and its clones copy it. Not used for odd sizes: filters may need the room, which this memory lacks.
    void offer(double* doubles);

    // The number of frames alive in this process, for tests that check for leaks.
    static std::size_t aliveCount();

    void setName(std::string newName) { name = std::move(newName); }
    void setAcqTime(double seconds) { time = seconds; }
    void addSubFrame(FramePtr subFrame);

    // The pixels, without the room after them.
    std::span<std::byte> bytes();
    std::span<const std::byte> bytes() const;
    // T must be the C++ type of frameDataType().
    template <typename T>
    std::span<T> pixels() {
        return {reinterpret_cast<T*>(bytes().data()), static_cast<std::size_t>(size())};
    }
    template <typename T>
    std::span<const T> pixels() const {
        return {reinterpret_cast<const T*>(bytes().data()), static_cast<std::size_t>(size())};
    }

    // Converts the frame to doubles and subtracts a value from each pixel, in one pass. Throws
    // std::invalid_argument for another number of values.
    void subtract(std::span<const double> values);

    void zeroRoom();

    // Copies the pixels if they are lent.
    void makeOwn();

    // Whether convertToType(DT_DOUBLE) was called since the last forgetConversion(). A filter that returns 0
    // from filterReplace without calling it has refused the frame.
    bool convertedToDouble() const { return sawConversion; }
    void forgetConversion() { sawConversion = false; }

    int type() const override { return TYPE_FRAME; }
    void addRef() override;
    void release() override;
    void destroy() override;
    // The sub-frames are copied too. The pixels are shared until one of the frames changes them, since most
    // filters convert their copy at once; they are copied if the border has handed out their address.
    IData* clone() const override;

    void getData(zt::IByteBuff* out, zt::u8 dataType) override;
    // For a lent frame the address is that of the caller's pixels, which a filter must only read: it corrects
    // a clone.
    void refData(zt::IRefByteBuff* out, double zero) override;
    // Throws std::logic_error unless the pixels are doubles.
    double* doubleData(double zero) override;
    zt::u64 size() const override { return zt::u64{frameWidth} * frameHeight; }
    zt::u32 width() const override { return frameWidth; }
    zt::u32 height() const override { return frameHeight; }
    zt::u8 frameDataType() const override { return pixelType; }
    void convertToType(zt::u8 dataType) override;
    using zt::IMpxFrame::frameName;
    void frameName(zt::IString* out) const override;
    void clear() override;
    // The other frame's pixels are converted to this frame's type and then added; sums of integers are
    // clamped to the range of the type. Throws std::invalid_argument when the sizes differ.
    void addFrame(zt::IMpxFrame* other) override;
    // Products are rounded and clamped like conversions from double.
    void multiplyBy(double factor) override;
    double acqTime() const override { return time; }
    int subFrameCount() const override { return static_cast<int>(children.size()); }
    using zt::IMpxFrame::subFrames;
    void subFrames(zt::IPtrList<zt::IMpxFrame*>* out) const override;

private:
    Frame(zt::u32 width, zt::u32 height, zt::u8 dataType, std::shared_ptr<std::byte> pixels);
    ~Frame();

    struct Storage {
        std::shared_ptr<std::byte> block;
        bool hasRoom = true; // after the pixels
    };

    void stopSharing();
    Storage newPixels(zt::u8 dataType);
    void takeStorage(Storage own, bool roomIsSet);

    std::size_t roomBytes() const;
    // Number of pixels and elements in the room after them.
    std::size_t storedCount() const { return static_cast<std::size_t>(size()) + frameWidth + 1; }

    std::atomic<int> references{1};
    zt::u32 frameWidth;
    zt::u32 frameHeight;
    zt::u8 pixelType;
    bool sawConversion = false;
    bool isExposed = false; // a filter may hold the address of the pixels
    bool isForeign = false; // the storage is a caller's and must not change
    bool hasRoom = true;    // after the pixels: a caller's memory has none
    bool isLent = false;    // made by lend(), not a clone
    double time = 0;
    std::string name;
    std::shared_ptr<std::byte> storage;
    std::shared_ptr<std::atomic<double*>> offered; // shared by clones; null once it is used
    std::vector<FramePtr> children;
};

} // namespace ombrel
