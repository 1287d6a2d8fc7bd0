#include "frame/Frame.h"

#include "base/Numbers.h"
#include "frame/FramePool.h"
#include "frame/PixelType.h"
#include "zt/DataBuff.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace ombrel {

namespace {

// Size of all pixels and the room after them. Sizes that overflow are refused.
std::size_t storageBytes(zt::u32 width, zt::u32 height, zt::u8 dataType) {
    const std::size_t pixel = pixelSize(dataType);
    const std::size_t rows = std::size_t{height} + 1;
    if (width >= std::numeric_limits<std::ptrdiff_t>::max() / pixel / rows)
        throw std::length_error("a frame of " + sizeText(width, height) + " pixels is too large");
    return (width * rows + 1) * pixel;
}

template <typename T>
T sum(T a, T b) {
    if constexpr (std::is_floating_point_v<T>) {
        return a + b;
    } else if constexpr (sizeof(T) < 8) {
        return clampedCast<T>(std::int64_t{a} + std::int64_t{b});
    } else {
        T result;
        if (!__builtin_add_overflow(a, b, &result))
            return result;
        return b < 0 ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
    }
}

template <typename T>
T product(T pixel, double factor) {
    if constexpr (std::is_integral_v<T> && sizeof(T) == 8)
        return clampedCast<T>(static_cast<long double>(pixel) * factor); // not every value is exact in double
    else
        return clampedCast<T>(pixel * factor);
}

std::shared_ptr<std::byte> newStorage(std::size_t bytes) {
    FramePool::Block block = FramePool::shared().take(bytes);
    const FramePool::GiveBack giveBack = block.get_deleter();
    return {block.release(), giveBack};
}

std::atomic<std::size_t> alive{0};

} // namespace

void ReleaseFrame::operator()(Frame* frame) const {
    frame->release();
}

Frame::Frame(zt::u32 width, zt::u32 height, zt::u8 dataType, std::shared_ptr<std::byte> pixels)
    : frameWidth(width), frameHeight(height), pixelType(dataType), storage(std::move(pixels)) {
    ++alive;
}

Frame::~Frame() {
    --alive;
}

FramePtr Frame::createUnfilled(zt::u32 width, zt::u32 height, zt::u8 dataType) {
    FramePtr frame(new Frame(width, height, dataType, newStorage(storageBytes(width, height, dataType))));
    frame->zeroRoom();
    return frame;
}

FramePtr Frame::create(zt::u32 width, zt::u32 height, zt::u8 dataType) {
    FramePtr frame = createUnfilled(width, height, dataType);
    frame->clear();
    return frame;
}

FramePtr Frame::lend(zt::u32 width, zt::u32 height, zt::u8 dataType, const std::byte* pixels) {
    storageBytes(width, height, dataType); // refuses sizes that are too large
    // Nothing is written through this address, see stopSharing().
    FramePtr frame(new Frame(width, height, dataType,
                             std::shared_ptr<std::byte>(const_cast<std::byte*>(pixels), [](std::byte*) {})));
    frame->isForeign = frame->isLent = true;
    frame->hasRoom = false;
    return frame;
}

void Frame::offer(double* doubles) {
    if (frameWidth % 2 == 0 && frameHeight % 2 == 0)
        offered = std::make_shared<std::atomic<double*>>(doubles);
}

std::size_t Frame::aliveCount() {
    return alive;
}

std::size_t Frame::roomBytes() const {
    return (std::size_t{frameWidth} + 1) * pixelSize(pixelType);
}

void Frame::addSubFrame(FramePtr subFrame) {
    children.push_back(std::move(subFrame));
}

void Frame::stopSharing() {
    if (!isForeign && storage.use_count() == 1) {
        // To drop a share orders what the former owners read before what this one writes next.
        std::shared_ptr<std::byte>(storage).reset();
        return;
    }
    Storage own = newPixels(pixelType);
    const bool copiesRoom = hasRoom && own.hasRoom;
    std::memcpy(own.block.get(), storage.get(),
                static_cast<std::size_t>(size()) * pixelSize(pixelType) + (copiesRoom ? roomBytes() : 0));
    takeStorage(std::move(own), copiesRoom);
}

Frame::Storage Frame::newPixels(zt::u8 dataType) {
    double* const doubles = dataType == zt::DT_DOUBLE && offered ? offered->exchange(nullptr) : nullptr;
    if (doubles)
        return {{reinterpret_cast<std::byte*>(doubles), [](std::byte*) {}}, false};
    return {newStorage(storageBytes(frameWidth, frameHeight, dataType)), true};
}

void Frame::takeStorage(Storage own, bool roomIsSet) {
    storage = std::move(own.block);
    hasRoom = own.hasRoom;
    isForeign = isLent = false;
    if (!roomIsSet)
        zeroRoom();
}

void Frame::makeOwn() {
    if (isForeign)
        stopSharing();
}

std::span<std::byte> Frame::bytes() {
    stopSharing();
    return {storage.get(), static_cast<std::size_t>(size()) * pixelSize(pixelType)};
}

std::span<const std::byte> Frame::bytes() const {
    return {storage.get(), static_cast<std::size_t>(size()) * pixelSize(pixelType)};
}

void Frame::subtract(std::span<const double> values) {
    if (values.size() != size())
        throw std::invalid_argument("the frame has another number of pixels");
    Storage difference = newPixels(zt::DT_DOUBLE);
    withPixelType(pixelType, [&](auto pixel) {
        const auto* const from = reinterpret_cast<const decltype(pixel)*>(storage.get());
        auto* const to = reinterpret_cast<double*>(difference.block.get());
        for (std::size_t i = 0; i < values.size(); ++i)
            to[i] = static_cast<double>(from[i]) - values[i];
    });
    pixelType = zt::DT_DOUBLE;
    isExposed = false;
    takeStorage(std::move(difference), false);
}

void Frame::zeroRoom() {
    if (!hasRoom)
        return;
    const std::span<std::byte> pixels = bytes();
    std::memset(pixels.data() + pixels.size(), 0, roomBytes());
}

void Frame::addRef() {
    references.fetch_add(1, std::memory_order_relaxed);
}

void Frame::release() {
    if (references.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

void Frame::destroy() {
    assert(references == 1);
    delete this;
}

zt::IData* Frame::clone() const {
    FramePtr copy(new Frame(frameWidth, frameHeight, pixelType, storage));
    copy->isForeign = isForeign;
    copy->hasRoom = hasRoom;
    copy->offered = offered;
    const bool isBorrowed = !isForeign && !hasRoom;
    if (isExposed || isBorrowed)
        copy->stopSharing();
    copy->name = name;
    copy->time = time;
    for (const FramePtr& child : children)
        copy->addSubFrame(FramePtr(static_cast<Frame*>(child->clone())));
    return copy.release();
}

void Frame::getData(zt::IByteBuff* out, zt::u8 dataType) {
    const auto count = static_cast<std::size_t>(size());
    out->resizeByte(count * pixelSize(dataType));
    convertPixels(storage.get(), pixelType, reinterpret_cast<std::byte*>(out->dataByte()), dataType, count);
}

void Frame::refData(zt::IRefByteBuff* out, double /*zero*/) {
    const std::span<const std::byte> pixels = isLent ? std::as_const(*this).bytes() : bytes();
    isExposed = !isLent;
    out->setByte(reinterpret_cast<const unsigned char*>(pixels.data()), pixels.size());
}

double* Frame::doubleData(double /*zero*/) {
    if (pixelType != zt::DT_DOUBLE)
        throw std::logic_error("the pixels of the frame are " + std::string(pixelTypeName(pixelType)) +
                               ", but f64 is required");
    isExposed = true;
    return reinterpret_cast<double*>(bytes().data());
}

void Frame::convertToType(zt::u8 dataType) {
    if (dataType != pixelType) {
        Storage converted = newPixels(dataType);
        const bool convertsRoom = hasRoom && converted.hasRoom;
        convertPixels(storage.get(), pixelType, converted.block.get(), dataType,
                      convertsRoom ? storedCount() : static_cast<std::size_t>(size()));
        pixelType = dataType;
        isExposed = false;
        takeStorage(std::move(converted), convertsRoom);
    }
    if (dataType == zt::DT_DOUBLE)
        sawConversion = true;
}

void Frame::frameName(zt::IString* out) const {
    out->set(name.c_str());
}

void Frame::clear() {
    std::ranges::fill(bytes(), std::byte{0});
}

void Frame::addFrame(zt::IMpxFrame* other) {
    if (other->width() != frameWidth || other->height() != frameHeight)
        throw std::invalid_argument("frames of different sizes can't be added");
    zt::RefDataBuff<unsigned char> otherBytes;
    other->refData(&otherBytes, 0.0);
    const auto* from = reinterpret_cast<const std::byte*>(otherBytes.data());
    const zt::u8 fromType = other->frameDataType();
    const std::size_t step = pixelSize(fromType);

    withPixelType(pixelType, [&](auto pixel) {
        using T = decltype(pixel);
        const std::span<T> mine = pixels<T>();
        std::array<T, 2048> converted; // a small piece stays in the cache
        for (std::size_t start = 0; start < mine.size(); start += converted.size()) {
            const std::size_t count = std::min(converted.size(), mine.size() - start);
            convertPixels(from + start * step, fromType, reinterpret_cast<std::byte*>(converted.data()),
                          pixelType, count);
            for (std::size_t i = 0; i < count; ++i)
                mine[start + i] = sum(mine[start + i], converted[i]);
        }
    });
}

void Frame::multiplyBy(double factor) {
    withPixelType(
        pixelType,
        [&](auto pixel) {
            for (auto& value : pixels<decltype(pixel)>())
                value = product(value, factor);
        });
}

void Frame::subFrames(zt::IPtrList<zt::IMpxFrame*>* out) const {
    for (const FramePtr& child : children)
        out->add(child.get());
}

} // namespace ombrel
