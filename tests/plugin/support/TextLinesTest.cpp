#include "fixtures/FileText.h"
#include "fixtures/TemporaryFolder.h"
#include "support/BinaryFile.h"
#include "support/Str.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

namespace {

TEST(TextLines, CountsLinesWithAndWithoutTheEmptyOnes) {
    TemporaryFolder folder;
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
        EXPECT_EQ(lines, (std::vector<std::string>{line, "", line})) << length;
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

    TemporaryFolder folder;
    char* line = nullptr;
    unsigned long capacity = 0;
};

TEST_F(GetlineTest, GivesEveryLineWithItsNewlineWhateverItsLength) {
    // 119 and 239 characters fill the buffer exactly.
    const std::vector<std::size_t> lengths{0, 1, 118, 119, 120, 200, 238, 239, 240, 5000};
    std::string text;
    for (const std::size_t length : lengths)
        text += std::string(length, 'x') + "\n";
    const StdioFile file = open(text);
    for (const std::size_t length : lengths) {
        ASSERT_EQ(getline(file.get(), &line, &capacity), static_cast<int>(length) + 1);
        EXPECT_EQ(std::string(line), std::string(length, 'x') + "\n");
    }
    // The buffer is the caller's by now.
    EXPECT_EQ(getline(file.get(), &line, &capacity), -1);
    EXPECT_NE(line, nullptr);
}

TEST_F(GetlineTest, ALastLineNeedsNoNewline) {
    for (const std::size_t length : {1u, 119u, 130u, 239u}) {
        const StdioFile file = open(std::string(length, 'x'));
        ASSERT_EQ(getline(file.get(), &line, &capacity), static_cast<int>(length));
        EXPECT_EQ(std::string(line), std::string(length, 'x'));
        EXPECT_EQ(getline(file.get(), &line, &capacity), -1);
    }
}

TEST_F(GetlineTest, GrowsBuffersTo120AndThenByDoubling) {
    StdioFile file = open(std::string(200, 'x') + "\n");
    EXPECT_EQ(getline(file.get(), &line, &capacity), 201);
    EXPECT_EQ(capacity, 240u);

    const unsigned long expected[][2] = {{1, 120}, {59, 120}, {60, 120}, {61, 61}};
    for (const auto& [brought, grown] : expected) {
        line = static_cast<char*>(std::realloc(line, brought));
        capacity = brought;
        file = open("a\nb");
        EXPECT_EQ(getline(file.get(), &line, &capacity), 2);
        EXPECT_EQ(capacity, grown);
    }
}

TEST_F(GetlineTest, FreesOnlyABufferOfItsOwnWhenThereIsNothing) {
    const StdioFile file = open("");
    EXPECT_EQ(getline(file.get(), &line, &capacity), -1);
    EXPECT_EQ(line, nullptr);
    EXPECT_EQ(capacity, 0u);
}

TEST_F(GetlineTest, RefusesNullArguments) {
    const StdioFile file = open("a");
    errno = 0;
    EXPECT_EQ(getline(file.get(), nullptr, &capacity), -1);
    EXPECT_EQ(errno, EINVAL);
    errno = 0;
    EXPECT_EQ(getline(file.get(), &line, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

} // namespace
