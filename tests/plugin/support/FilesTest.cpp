#include "support/Files.h"

#include "fixtures/Testing.h"

namespace fs = std::filesystem;

namespace {

TEST(WildcardMask, MatchesWholeNames) {
    const char* const matching[][2] = {{"a.txt", "*.txt"}, {"abc", "a*c"},    {"a.b.c", "*.c"},
                                       {"abc", "a?c"},     {"", "***"},       {"", ""},
                                       {"abc", "*"},       {"abcbd", "a*b?"}, {"a*b", "a*b"},
                                       {"aab", "**a*b"},   {"abab", "*ab"},   {"a.txt", "a*?xt"}};
    for (const auto& [name, mask] : matching)
        EXPECT_EQ(matchMask(name, mask), 1) << name << " " << mask;
    const char* const different[][2] = {{"a.txt", "a?txt"}, {"abc", "a*b"}, {"", "?"},     {"abc", "ab"},
                                        {"ab", "abc"},      {"ABC", "abc"}, {"a.", "a*?"}, {"a", ""},
                                        {"abc", "b*"},      {"ab", "*b?"}};
    for (const auto& [name, mask] : different)
        EXPECT_EQ(matchMask(name, mask), 0) << name << " " << mask;
}

TEST(PathParts, AreCutAtTheLastSlashAndTheLastDot) {
    EXPECT_EQ(getFileDir("/a/b/c.txt"), "/a/b");
    EXPECT_EQ(getFileDir("/x"), "");
    EXPECT_EQ(getFileDir("x"), "");
    EXPECT_EQ(getFileDir("a/"), "a");
    EXPECT_EQ(getFileNameWithoutExt("/a/b.txt"), "/a/b");
    EXPECT_EQ(getFileNameWithoutExt("a.b.c"), "a.b");
    EXPECT_EQ(getFileNameWithoutExt("/a.d/b"), "/a");
    EXPECT_EQ(getFileNameWithoutExt("ab"), "ab");
    EXPECT_EQ(getFileNameWithoutExt(nullptr), "");
}

// A folder with the files a.txt, b.txt, c.dat and the directory sub, which holds d.txt and e.txt.
class TreeTest : public testing::Test {
protected:
    void SetUp() override {
        fs::create_directory(folder / "sub");
        for (const char* name : {"a.txt", "b.txt", "c.dat", "sub/d.txt", "sub/e.txt"})
            writeFileText(folder / name, name);
    }

    std::vector<std::string> listed(const char* mask, bool skipDirs, bool fullPath) {
        std::vector<std::string> names;
        EXPECT_EQ(listFilesInDir(folder.path.c_str(), mask, skipDirs, fullPath, names), 0);
        return names;
    }

    TemporaryFolder folder;
    TemporaryFolder other;
};

TEST_F(TreeTest, ListsWhatFitsTheMaskAfterWhatIsThere) {
    EXPECT_THAT(listed("*.txt", false, false), UnorderedElementsAre("a.txt", "b.txt"));
    EXPECT_THAT(listed("*", false, false), UnorderedElementsAre("a.txt", "b.txt", "c.dat", "sub"));
    EXPECT_THAT(listed("*", true, false), UnorderedElementsAre("a.txt", "b.txt", "c.dat"));
    EXPECT_THAT(listed("c*", true, true), ElementsAre(folder.path.string() + "/c.dat"));
    EXPECT_THAT(listed(".*", false, false), ElementsAre());

    std::vector<std::string> names{"old"};
    for (const char* noFolder : {"none", "a.txt"})
        EXPECT_EQ(listFilesInDir((folder / noFolder).c_str(), "*", false, false, names), -5);
    EXPECT_THAT(names, ElementsAre("old"));
    EXPECT_EQ(listFilesInDir(folder.path.c_str(), "a*", false, false, names), 0);
    EXPECT_THAT(names, ElementsAre("old", "a.txt"));
}

TEST_F(TreeTest, CopiesAFileOverWhatWasThere) {
    writeFileText(other / "copy", "something longer than the source");
    EXPECT_EQ(copyFile((folder / "a.txt").c_str(), (other / "copy").c_str()), 0);
    EXPECT_EQ(fileText(other / "copy"), "a.txt");
    EXPECT_EQ(copyFile((folder / "none").c_str(), (other / "copy").c_str()), 0);
    EXPECT_EQ(fileText(other / "copy"), "");
    EXPECT_EQ(copyFile((folder / "a.txt").c_str(), (other / "none/copy").c_str()), 0);
    EXPECT_EQ(copyFile(nullptr, (other / "copy").c_str()), -1);
}

TEST_F(TreeTest, CopyingATreeSkipsTheFirstEntryOfEachDirectory) {
    const std::string target = other / "made/on/the/way";
    EXPECT_EQ(copyFileDir(folder.path.string(), target), 0);
    EXPECT_FALSE(fs::exists(target + "/a.txt"));
    EXPECT_EQ(fileText(target + "/b.txt"), "b.txt");
    EXPECT_EQ(fileText(target + "/c.dat"), "c.dat");
    EXPECT_TRUE(fs::is_regular_file(target + "/sub"));

    fs::rename(folder / "sub", folder / "Sub"); // comes first, and is entered
    EXPECT_EQ(copyFileDir(folder.path.string(), other.path.string()), 0);
    EXPECT_EQ(fileText(other / "Sub/e.txt"), "sub/e.txt");
    EXPECT_FALSE(fs::exists(other / "Sub/d.txt"));
    EXPECT_EQ(fileText(other / "a.txt"), "a.txt");

    EXPECT_EQ(copyFileDir("", other / "copy"), -1);
    EXPECT_EQ(copyFileDir(folder / "none", other / "copy"), 0);
    EXPECT_FALSE(fs::exists(other / "copy"));
}

TEST_F(TreeTest, RemovesFilesAndTreesButNotWhatLinksLeadTo) {
    fs::create_directory_symlink(other.path, folder / "sub/link");
    writeFileText(other / "kept", "");
    EXPECT_EQ(deleteFileDir(folder / "a.txt"), 0);
    EXPECT_EQ(deleteFileDir(folder.path), 0);
    EXPECT_FALSE(fs::exists(folder.path));
    EXPECT_TRUE(fs::exists(other / "kept"));
    EXPECT_EQ(deleteFileDir(folder.path), -1);
}

TEST_F(TreeTest, ComparesFilesByContentWhateverTheBuffer) {
    const std::string a = folder / "a", b = folder / "b";
    const auto equal = [&](const std::string& textA, const std::string& textB, unsigned long bufferSize) {
        writeFileText(a, textA);
        writeFileText(b, textB);
        return isFilesEqual(a.c_str(), b.c_str(), bufferSize);
    };
    for (const unsigned long bufferSize : {0ul, 1ul, 3ul, 6ul, 4096ul, ~0ul}) {
        EXPECT_TRUE(equal("abcdef", "abcdef", bufferSize)) << bufferSize;
        EXPECT_FALSE(equal("abcdef", "abcdeg", bufferSize)) << bufferSize;
        EXPECT_FALSE(equal("abcdef", "abcdefg", bufferSize)) << bufferSize;
        EXPECT_TRUE(equal("", "", bufferSize)) << bufferSize;
    }
    EXPECT_FALSE(isFilesEqual(a.c_str(), "/no/such/file", 10));
    EXPECT_FALSE(isFilesEqual("/no/such/file", "/no/such/file", 10));
    EXPECT_FALSE(isFilesEqual(nullptr, nullptr, 10));
}

} // namespace
