#include "support/BinaryFile.h"

#include "fixtures/FileText.h"
#include "fixtures/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(BinaryFile, WritesReplacesAndAppends) {
    TemporaryFolder folder;
    const std::string path = folder / "data.bin";
    unsigned char bytes[] = {'a', 0, 'b'};
    ASSERT_EQ(writeBinary(path.c_str(), bytes, 3, false), FILE_OK);
    ASSERT_EQ(writeBinary(path.c_str(), bytes, 1, true), FILE_OK);
    EXPECT_EQ(fileText(path), std::string("a\0ba", 4));
    ASSERT_EQ(writeBinary(path.c_str(), bytes, 0, false), FILE_OK);
    EXPECT_EQ(fileText(path), "");
}

TEST(BinaryFile, ReadsTheFirstBytesOrAsManyAsThereAre) {
    TemporaryFolder folder;
    const std::string path = folder / "data.bin";
    writeFileText(path, "abc");
    std::vector<unsigned char> buffer(5, 'x');
    EXPECT_EQ(readBinary(path.c_str(), buffer.data(), 2), FILE_OK);
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "abxxx");
    EXPECT_EQ(readBinary(path.c_str(), buffer.data(), 5), FILE_TOO_SHORT);
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "abcxx");
    EXPECT_EQ(readBinary(path.c_str(), nullptr, 0), FILE_OK);
}

TEST(BinaryFile, SaysWhatCannotBeOpenedReadOrWritten) {
    TemporaryFolder folder;
    unsigned char byte = 0;
    EXPECT_EQ(readBinary(nullptr, &byte, 1), FILE_NOT_OPENED);
    EXPECT_EQ(readBinary((folder / "none").c_str(), &byte, 1), FILE_NOT_OPENED);
    EXPECT_EQ(readBinary(folder.path.c_str(), &byte, 1), FILE_TOO_SHORT);
    EXPECT_EQ(writeBinary(nullptr, &byte, 1, false), FILE_NOT_OPENED);
    EXPECT_EQ(writeBinary((folder / "none/file").c_str(), &byte, 1, true), FILE_NOT_OPENED);
    EXPECT_EQ(writeBinary("/dev/full", &byte, 1, false), FILE_NOT_WRITTEN);
}

} // namespace
