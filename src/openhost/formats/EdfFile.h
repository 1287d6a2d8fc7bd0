#pragma once

#include "formats/FileBytes.h"
#include "frame/FrameFile.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The images of an EDF file as frames. Each has a header of text in braces, followed by its pixels:
//
//     { Dim_1 = 487 ; Dim_2 = 195 ; DataType = SignedInteger ; ByteOrder = LowByteFirst ; ... }
//
// The file may be compressed with gzip.
class EdfFile final : public FrameFile {
public:
    // Finds all images, so that a truncated file is detected here.
    explicit EdfFile(const std::string& path);

    double acqTime(zt::u32 frame) const override;

private:
    std::optional<RawImage> rawImage(zt::u32 frame, zt::u32 subFrame) const override;
    void readStored(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) override;
    struct Image;

    void gatherImages();
    void addImage(const Image& image);

    FileBytes file;
    std::vector<zt::u64> offsets; // of the pixels of each image
    std::vector<double> times;    // in seconds, 0 where an image has none
    std::string byteOrder;
    bool isSwapped = false; // of the other byte order than this machine
};

} // namespace ombrel
