#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

// Storage of images: aligned to a cache line, and without initialisation of pixels. Images whose pixels are
// all written next need no pass of zeros first.
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

// A row-major rectangle of 32-bit floats, with the arithmetic of the adaptive engine; pixel (x, y) has the
// index y * cols + x. A plain value: copies are independent.
//
// All arithmetic is in single precision and in the documented order, to the last bit, and NaN propagates.
// Operations on two images stop at the end of the shorter one. Accessing a pixel outside the image throws
// std::out_of_range, and so do the reductions of an image without pixels.
class AICImage {
public:
    AICImage() = default;
    // Zeros.
    AICImage(int cols, int rows) { zeros(cols, rows); }
    // An image whose pixels must be written before they are read; see resize().
    static AICImage uninitialized(int cols, int rows);

    int rows() const { return imageRows; }
    int cols() const { return imageCols; }
    // Whether the image has no pixels, independent of its shape.
    bool empty() const { return values.empty(); }
    bool sameShape(const AICImage& other) const {
        return imageCols == other.imageCols && imageRows == other.imageRows;
    }

    // Whether the number of pixels matches the shape, or is smaller. A reshape may leave a remainder outside
    // the shape, and a product of sides beyond 32 bits yields too few pixels.
    bool isWhole() const { return imageCols >= 0 && values.size() == shapePixels(); }
    bool lacksPixels() const { return values.size() < shapePixels(); }
    // The product of the sides, as a 32-bit integer that wraps.
    int shapeSize() const;

    std::span<float> pixels() { return values; }
    std::span<const float> pixels() const { return values; }

    // Removes the pixels and keeps the storage.
    void release();
    // Appends a pixel; the image becomes one row of cols * rows + 1.
    void push_back(float value);
    // Sets the rows (columns) and divides the pixels among them; a remainder stays stored outside the shape.
    // Throws std::invalid_argument for 0.
    void reshape_r(int rows);
    void reshape_c(int cols);
    // Sets shape and number of pixels, and leaves them uninitialised. The product of the sides is a 32-bit
    // integer; a negative one throws std::length_error and changes nothing.
    void resize(int cols, int rows);
    // resize(), with all pixels set to a value.
    void zeros(int cols, int rows);
    void ones(int cols, int rows);

    float at(int x, int y) const { return values[checkedIndex(x, y)]; }
    void at(int x, int y, float value) { values[checkedIndex(x, y)] = value; }

    void copyTo(AICImage* target) const;
    // Copies w x h pixels from (x, y) on to the same position in an image of the same row length.
    void copyTo(AICImage* target, int x, int y, int w, int h) const;

    // Pixel by pixel; division by zero gives infinity or NaN.
    void sub(AICImage other);
    void add(AICImage other);
    void mul(AICImage other);
    void div(AICImage other);
    void mul(float factor);
    void div(float divisor);
    // The same into a third image, which has the shape of the first and is 0 where the second has no pixel.
    static void sub(AICImage a, AICImage b, AICImage* result);
    static void add(AICImage a, AICImage b, AICImage* result);
    static void mul(AICImage a, AICImage b, AICImage* result);
    static void div(AICImage a, AICImage b, AICImage* result);

    // Pixels below (above) the threshold are set to the value. The binary forms set all others to 0. A pixel
    // equal to the threshold, or NaN, is neither below nor above.
    void threshold_min(float threshold, float value);
    void threshold_max(float threshold, float value);
    void threshold_bin(float threshold, float value);
    void threshold_ibin(float threshold, float value);

    // Like std::min_element and std::max_element: the first of equal values, and NaN only when it is first.
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
    // Stretched to 0..255 and rounded, halves up; 0 where the result is not finite.
    void convert_to_uchar(std::vector<unsigned char>* bytes) const;

    // Draws a grid of lines, 2 * half wide and `step` apart, with half a line at the image's start. Columns
    // are counted along the running index, so they are vertical only when the row length is a multiple of
    // `step`.
    void generate_borders(int step, int half, float value);
    // Correlation with a row-major kernel of size x size, summed column by column; a border of half a kernel
    // stays 0. For an even size the window is size + 1 wide, and the kernel must have values for all of it.
    static void filter2D(AICImage source, AICImage* result, const float* kernel, int size);
    // Median of the 3 x 3 pixels around the index; outside the image its edge pixels are repeated.
    float median_3(int index) const;

private:
    // The index wraps like a 32-bit integer, and must then be inside.
    std::size_t checkedIndex(int x, int y) const;
    std::size_t shapePixels() const { return static_cast<std::size_t>(std::int64_t{imageCols} * imageRows); }
    // The rows, w pixels from (x, y) on, must be among the first `pixelCount` pixels.
    void checkRegion(int x, int y, int w, int h, std::size_t pixelCount) const;

    std::vector<float, PixelAllocator<float>> values;
    int imageCols = 0;
    int imageRows = 0;
};

// One point of the calibration grid, or the result of a search: an image and the settings at which it was
// taken. The user decides what the three settings measure.
struct ImageContainer {
    AICImage Image; // without pixels: a hole in the grid
    float V = 0;
    float T = 0;
    float E = 0;
    // Filled by interpolation instead of from the file; stays true afterwards.
    bool Interpolated = false;
};
