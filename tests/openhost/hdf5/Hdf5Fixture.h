#pragma once

#include "fixtures/FrameFiles.h"
#include "fixtures/Messages.h"

// An HDF5 file that a test builds, and what is read of it.
class Hdf5Fixture : public ::testing::Test {
protected:
    using FrameFile = ombrel::FrameFile;
    using FrameRole = ombrel::FrameRole;

    // A file of that content.
    template <typename Build>
    void make(Build build) const {
        Hdf5Builder file(path);
        build(file);
    }

    // The first pixel of each frame.
    std::vector<int> firstPixels(const std::string& dataset = "", FrameRole role = FrameRole::Any) const {
        const auto file = FrameFile::open(path + dataset, role);
        std::vector<int> pixels;
        for (zt::u32 frame = 0; frame < file->info().frames; ++frame)
            pixels.push_back(file->readFrame(frame)->pixels<zt::u16>()[0]);
        return pixels;
    }

    // The message with which the file is refused.
    std::string refusal(const std::string& dataset = "", FrameRole role = FrameRole::Any) const {
        const std::string error = errorOf([&] { FrameFile::open(path + dataset, role); });
        EXPECT_THAT(error, StartsWith(path));
        return error;
    }

    const TemporaryFolder folder;
    const std::string path = folder / "some.h5";
};

// Stored in chunks of that extent.
inline Hdf5Builder::Storage chunked(std::vector<hsize_t> chunk, unsigned deflate = 0) {
    return [=](hid_t creation) {
        H5Pset_chunk(creation, static_cast<int>(chunk.size()), chunk.data());
        if (deflate) {
            H5Pset_shuffle(creation);
            H5Pset_deflate(creation, deflate);
        }
    };
}
