#pragma once

#include "base/FileDescriptor.h"
#include "frame/FrameFile.h"
#include "tiff/TiffDirectory.h"
#include "tiff/TiffPage.h"

#include <unordered_set>
#include <vector>

namespace ombrel {

// The pages of a TIFF file as frames.
class TiffFile final : public FrameFile {
public:
    // Examines every page, so that a truncated file is detected here and frames can be read in any order.
    explicit TiffFile(const std::string& path);

    // What the page of a frame holds on it: at most one text of each kind.
    ImageTags tagsOf(zt::u32 frame) const;

private:
    std::optional<RawImage> rawImage(zt::u32 frame, zt::u32 subFrame) const override;
    void readStored(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) override;
    const TiffPage& pageOf(zt::u32 frame) const;
    zt::u64 pixelOffset(const TiffPage& page, zt::u32 frame) const;
    void gatherPages();
    zt::u64 gatherLikeLast(std::unordered_set<zt::u64>& directories);
    TiffDirectory readDirectory(zt::u64 offset) const;
    void gatherStack();
    void findPacking();
    void checkLikeFirst(const TiffPage& page, const std::string& name) const;
    void readPlain(const TiffPage& page, zt::u32 frame, std::span<std::byte> pixels) const;
    void readPage(const TiffPage& page, zt::u32 frame, std::span<std::byte> pixels);
    void readStrips(const std::string& page, std::span<std::byte> pixels) const;
    void readTiles(const std::string& page, std::span<std::byte> pixels);

    FileDescriptor file;
    TiffHandle tiff;
    bool isSwapped; // to the other byte order
    std::vector<TiffPage> pages;
    std::vector<std::byte> tile;
    std::vector<std::byte> halves; // 16-bit floating-point pixels, or packed ones, as stored
};

} // namespace ombrel
