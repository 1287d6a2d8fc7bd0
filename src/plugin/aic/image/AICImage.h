#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

// Storage of images: aligned to a cache line, and pixels that nobody gives a value stay without one. Images
// of which every pixel is about to be written need no pass of zeros before.
template <typename T>
struct PixelAllocator {
    using value_type = T;

    static constexpr std::align_val_t alignment{64};

    PixelAllocator() = default;
    template <typename U>
    PixelAllocator(const PixelAllocator<U>&) {}

    T* allocate(std::size_t count) {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T))
            throw std::bad_array_new_length();
        return static_cast<T*>(::operator new(count * sizeof(T), alignment));
    }
    void deallocate(T* memory, std::size_t) { ::operator delete(memory, alignment); }

    template <typename U>
    void construct(U* place) {
        ::new (static_cast<void*>(place)) U;
    }
    template <typename U, typename... Values>
    void construct(U* place, Values&&... values) {
        ::new (static_cast<void*>(place)) U(std::forward<Values>(values)...);
    }

    bool operator==(const PixelAllocator&) const { return true; }
};

// A row-major rectangle of 32-bit floats, with the arithmetic of the adaptive engine; pixel (x, y) stands at
// the index y * cols + x. A plain value: copies are independent.
//
// All arithmetic is in single precision and in the order told, to the last bit, and NaN passes through it.
// Operations on two images go as far as the shorter of both. Where a pixel outside the image would be read or
// written std::out_of_range is thrown, also by the reductions of an image without pixels.
class AICImage {
public:
    AICImage() = default;
    // Zeros.
    AICImage(int cols, int rows) { zeros(cols, rows); }
    // An image whose pixels the caller writes before anyone reads them; see resize().
    static AICImage uninitialized(int cols, int rows);

    int rows() const { return imageRows; }
    int cols() const { return imageCols; }
    // No pixel, whatever the shape says.
    bool empty() const { return values.empty(); }
    bool sameShape(const AICImage& other) const {
        return imageCols == other.imageCols && imageRows == other.imageRows;
    }

    // Whether there are as many pixels as the shape says, or fewer. A reshape may leave a remainder outside
    // the shape, and a product of sides beyond 32 bits too few pixels for it.
    bool isWhole() const { return imageCols >= 0 && values.size() == shapePixels(); }
    bool lacksPixels() const { return values.size() < shapePixels(); }
    // The product of the sides, as a 32-bit integer that wraps.
    int shapeSize() const;

    std::span<float> pixels() { return values; }
    std::span<const float> pixels() const { return values; }

    // Drops the pixels and keeps the storage.
    void release();
    // Appends a pixel; the image becomes one row of cols * rows + 1.
    void push_back(float value);
    // Sets the rows (columns) and divides the pixels among them; a remainder stays stored, outside the shape.
    // Throws std::invalid_argument for 0.
    void reshape_r(int rows);
    void reshape_c(int cols);
    // Sets shape and number of pixels, and leaves them without values. The product of the sides is a 32-bit
    // integer; a negative one throws std::length_error and changes nothing.
    void resize(int cols, int rows);
    // resize(), and a value for all.
    void zeros(int cols, int rows);
    void ones(int cols, int rows);

    float at(int x, int y) const { return values[checkedIndex(x, y)]; }
    void at(int x, int y, float value) { values[checkedIndex(x, y)] = value; }

    void copyTo(AICImage* target) const;
    // Copies w x h pixels from (x, y) on to the same place of an image of the same row length.
    void copyTo(AICImage* target, int x, int y, int w, int h) const;

    // Pixel by pixel; division by zero gives infinity or NaN.
    void sub(AICImage other);
    void add(AICImage other);
    void mul(AICImage other);
    void div(AICImage other);
    void mul(float factor);
    void div(float divisor);
    // The same into a third image, which takes the shape of the first and is 0 where the second has no pixel.
    static void sub(AICImage a, AICImage b, AICImage* result);
    static void add(AICImage a, AICImage b, AICImage* result);
    static void mul(AICImage a, AICImage b, AICImage* result);
    static void div(AICImage a, AICImage b, AICImage* result);

    // Pixels below (above) the threshold get the value. The binary forms set all others to 0. A pixel equal
    // to the threshold, or NaN, is neither below nor above.
    void threshold_min(float threshold, float value);
    void threshold_max(float threshold, float value);
    void threshold_bin(float threshold, float value);
    void threshold_ibin(float threshold, float value);

    // By the rule of std::min_element and std::max_element: the first of equals, and NaN only when it stands
    // first.
    float min_val() const;
    float max_val() const;
    void abs();
    // Summed in double, in order, and rounded once.
    float sum() const;
    // Rows of w pixels, each summed in double, added to a total that is rounded to float after each row.
    float sum(int x, int y, int w, int h) const;

    // (p - min) * (hi - lo) / (max - min) + lo; NaN everywhere for an image of one value.
    void normalize(float lo, float hi);
    static void normalize(AICImage source, AICImage* result, float lo, float hi);
    // Stretched to 0..255 and rounded, halves up; 0 where the stretch gives no finite number.
    void convert_to_uchar(std::vector<unsigned char>* bytes) const;

    // Paints a grid of lines, 2 * half wide and `step` apart, half a line at the image's start. Columns are
    // counted along the running index, so they stand upright only where the row length is a multiple of
    // `step`.
    void generate_borders(int step, int half, float value);
    // Correlation with a row-major kernel of size x size, summed column by column; the border of half a
    // kernel stays 0. For an even size the window is size + 1 wide, and the kernel must have values up to its
    // end.
    static void filter2D(AICImage source, AICImage* result, const float* kernel, int size);
    // Median of the 3 x 3 pixels around the index, the image's edge pixels standing for those beyond it.
    float median_3(int index) const;

private:
    // The index wraps as a 32-bit integer does, and must then lie inside.
    std::size_t checkedIndex(int x, int y) const;
    std::size_t shapePixels() const { return static_cast<std::size_t>(std::int64_t{imageCols} * imageRows); }
    // The rows, w pixels from (x, y) on, must lie among the first `pixelCount` pixels.
    void checkRegion(int x, int y, int w, int h, std::size_t pixelCount) const;

    std::vector<float, PixelAllocator<float>> values;
    int imageCols = 0;
    int imageRows = 0;
};

// One point of the calibration grid, or the result of a search: an image and the settings that it was taken
// at. What the three settings measure is the user's choice.
struct ImageContainer {
    AICImage Image; // no pixels: a hole in the grid
    float V = 0;
    float T = 0;
    float E = 0;
    // To be filled by interpolation instead of from the file; stays true once it is filled.
    bool Interpolated = false;
};
