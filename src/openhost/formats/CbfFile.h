#pragma once

#include "formats/FileBytes.h"
#include "frame/FrameFile.h"

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// The binary sections of a CBF file as frames: pixels stored as byte offsets, as photon-counting detectors
// write them, or plain. The file may be compressed with gzip.
//
// This reader takes only what it needs, the headers of the sections, so that the size of everything is
// checked against the file before memory is asked for. The text between the sections is not interpreted,
// except for the exposure time that detectors write as a comment.
class CbfFile final : public FrameFile {
public:
    // Finds all sections, so that a truncated file is detected here.
    explicit CbfFile(const std::string& path);

private:
    std::optional<RawImage> rawImage(zt::u32 frame, zt::u32 subFrame) const override;
    void readStored(zt::u32 frame, zt::u32 subFrame, std::span<std::byte> pixels) override;
    // The bytes of a section in the file.
    struct Section {
        zt::u64 offset = 0;
        zt::u64 bytes = 0;
        std::string checksum; // MD5 as base64; empty if the file does not state it
        bool byteOffsets = false;
        bool swapped = false; // plain pixels of the other byte order
    };

    // The text up to the pixels of a section, with the places of its header and of the mark at its end; at
    // the end of the file the rest of the text.
    struct Found {
        std::string text;
        std::size_t begin = std::string::npos;
        std::size_t data = std::string::npos;
    };

    void gatherSections();
    void checkEnd(const Found& found) const;
    Found find(zt::u64 offset);
    void addSection(const std::string& header, Section section);
    void checkLikeFirst(zt::u32 width, zt::u32 height, zt::u8 pixelType);
    void readSection(const Section& section, std::span<std::byte> pixels);

    FileBytes file;
    std::vector<Section> sections;
};

} // namespace ombrel
