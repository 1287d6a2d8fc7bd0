#include "support/BinaryFile.h"

#include "fixtures/Testing.h"
#include "support/Str.h"

#include <cerrno>

namespace {

TEST(BinaryFile, WritesReplacesAppendsAndReads) {
    const TemporaryFolder folder;
    const std::string path = folder / "data.bin";
    unsigned char bytes[] = {'a', 0, 'b'};
    ASSERT_EQ(writeBinary(path.c_str(), bytes, 3, false), FILE_OK);
    ASSERT_EQ(writeBinary(path.c_str(), bytes, 1, true), FILE_OK);
    EXPECT_EQ(fileText(path), std::string("a\0ba", 4));
    ASSERT_EQ(writeBinary(path.c_str(), bytes, 0, false), FILE_OK);
    EXPECT_EQ(fileText(path), "");

    writeFileText(path, "abc");
    std::string buffer(5, 'x');
    auto* const room = reinterpret_cast<unsigned char*>(buffer.data());
    EXPECT_EQ(readBinary(path.c_str(), room, 2), FILE_OK);
    EXPECT_EQ(buffer, "abxxx");
    EXPECT_EQ(readBinary(path.c_str(), room, 5), FILE_TOO_SHORT);
    EXPECT_EQ(buffer, "abcxx");
    EXPECT_EQ(readBinary(path.c_str(), nullptr, 0), FILE_OK);
}

TEST(BinaryFile, SaysWhatCannotBeOpenedReadOrWritten) {
    const TemporaryFolder folder;
    unsigned char byte = 0;
    EXPECT_EQ(readBinary(nullptr, &byte, 1), FILE_NOT_OPENED);
    EXPECT_EQ(readBinary((folder / "none").c_str(), &byte, 1), FILE_NOT_OPENED);
    EXPECT_EQ(readBinary(folder.path.c_str(), &byte, 1), FILE_TOO_SHORT);
    EXPECT_EQ(writeBinary(nullptr, &byte, 1, false), FILE_NOT_OPENED);
    EXPECT_EQ(writeBinary((folder / "none/file").c_str(), &byte, 1, true), FILE_NOT_OPENED);
    EXPECT_EQ(writeBinary("/dev/full", &byte, 1, false), FILE_NOT_WRITTEN);
}

TEST(TextLines, AreCountedWithAndWithoutTheEmptyOnes) {
    const TemporaryFolder folder;
    const std::string path = folder / "lines.txt";
    writeFileText(path, "a\n\n \nb");
    EXPECT_EQ(getNumberOfLinesInFile(path.c_str(), false), 4u);
    EXPECT_EQ(getNumberOfLinesInFile(path.c_str(), true), 3u);
    writeFileText(path, "a\n\n");
    EXPECT_EQ(getNumberOfLinesInFile(path.c_str(), false), 2u);
    for (const std::size_t length : {4094, 4095, 4096, 8190}) { // around the size of what is read at once
        const std::string line(length, 'x');
        writeFileText(path, line + "\n\n" + line);
        std::vector<std::string> lines;
        forEachLine(path.c_str(), [&](const std::string& text) { lines.push_back(text); });
        EXPECT_THAT(lines, ElementsAre(line, "", line)) << length;
    }
    for (const char* unreadable :
         {"/no/such/file", "/dev/zero", folder.path.c_str(), static_cast<const char*>(nullptr)})
        EXPECT_EQ(getNumberOfLinesInFile(unreadable, false), 0u);
}

class GetlineTest : public testing::Test {
protected:
    ~GetlineTest() override { std::free(line); }

    StdioFile open(const std::string& text) {
        writeFileText(folder / "text", text);
        return openStdioFile((folder / "text").c_str(), "r");
    }

    const TemporaryFolder folder;
    char* line = nullptr;
    unsigned long capacity = 0;
};

TEST_F(GetlineTest, GivesEveryLineWhateverItsLengthAndTheLastWithoutItsNewline) {
    // 119 and 239 characters fill the buffer exactly.
    for (const std::size_t last : {1u, 119u, 130u, 239u}) {
        const std::vector<std::size_t> lengths{0, 1, 118, 119, 120, 200, 238, 239, 240, 5000, last};
        std::string text;
        for (const std::size_t length : lengths)
            text += std::string(length, 'x') + "\n";
        const StdioFile file = open(text.substr(0, text.size() - 1));
        for (std::size_t i = 0; i < lengths.size(); ++i) {
            const std::string expected = std::string(lengths[i], 'x') + (i + 1 < lengths.size() ? "\n" : "");
            ASSERT_EQ(getline(file.get(), &line, &capacity), static_cast<int>(expected.size()));
            EXPECT_EQ(line, expected);
        }
        EXPECT_EQ(getline(file.get(), &line, &capacity), -1);
        EXPECT_NE(line, nullptr) << "the buffer is the caller's by now";
        EXPECT_EQ(capacity, 7680u) << "120, doubled until the longest line fits";
    }
}

TEST_F(GetlineTest, WithoutALineOrWithNullArgumentsLeavesNoBuffer) {
    EXPECT_EQ(getline(open("").get(), &line, &capacity), -1);
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(capacity, 0u);
    for (const bool isLineMissing : {false, true}) {
        errno = 0;
        EXPECT_EQ(
            getline(open("a").get(), isLineMissing ? nullptr : &line, isLineMissing ? &capacity : nullptr),
            -1);
        EXPECT_EQ(errno, EINVAL);
    }
}

} // namespace
