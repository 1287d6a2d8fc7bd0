#include "base/AtomicFile.h"

#include "base/Error.h"
#include "fixtures/Testing.h"

#include <sys/stat.h>
#include <thread>

using namespace ombrel;
namespace fs = std::filesystem;

TEST(AtomicFile, KeepsTheModeAndFollowsLinks) {
    const TemporaryFolder folder;
    fs::create_directory(folder.path / "real");
    const std::string target = folder / "real/settings.xml";
    writeFileText(target, "old");
    ::chmod(target.c_str(), 0640);
    fs::create_symlink("real/settings.xml", folder.path / "link");
    fs::create_symlink(folder.path / "link", folder.path / "link to link");
    replaceFile(folder / "link to link", "new");
    EXPECT_EQ(fileText(target), "new");
    EXPECT_TRUE(fs::is_symlink(folder.path / "link"));
    struct stat status {};
    ASSERT_EQ(::stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);

    fs::create_symlink("real/not yet", folder.path / "dangling");
    replaceFile(folder / "dangling", "made");
    EXPECT_EQ(fileText(folder / "real/not yet"), "made");
    fs::create_symlink("circle", folder.path / "circle");
    EXPECT_THROW(replaceFile(folder / "circle", "x"), Error);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder / "real"), {}), 2);
}

// A link that someone put at the name of the new file must not lead the contents elsewhere.
TEST(AtomicFile, RefusesALinkAtTheNameOfTheNewFile) {
    const TemporaryFolder folder;
    writeFileText(folder / "precious", "old");
    fs::create_symlink("precious", folder.path / ".file.new");
    EXPECT_THROW(replaceFile(folder / "file", "new"), Error);
    EXPECT_EQ(fileText(folder / "precious"), "old");
    EXPECT_FALSE(fs::exists(folder / "file"));
}

TEST(AtomicFile, WithoutCommitTheFileStaysAsItWas) {
    const TemporaryFolder folder;
    const std::string path = folder / "file";
    writeFileText(path, "old");
    {
        AtomicFile file(path);
        file.write(std::as_bytes(std::span("half", 4)));
    }
    EXPECT_EQ(fileText(path), "old");
    EXPECT_EQ(folder.fileCount(), 1u);
    EXPECT_THROW(AtomicFile(folder / "no/such/folder"), Error);
}

TEST(AtomicFile, ClearsAwayWhatAKilledProgramLeft) {
    const TemporaryFolder folder;
    const std::string path = folder / std::string(255, 'n'); // the longest name there can be
    writeFileText(folder / ("." + std::string(250, 'n') + ".new"), "a longer text than the new one");
    replaceFile(path, "new");
    EXPECT_EQ(fileText(path), "new");
    EXPECT_EQ(folder.fileCount(), 1u);
}

TEST(AtomicFile, WritersOfOneFileWaitForEachOther) {
    const TemporaryFolder folder;
    const std::string path = folder / "file";
    const auto work = [&](char mark) {
        for (int round = 0; round < 40; ++round)
            replaceFile(path, std::string(10000, mark));
    };
    { std::jthread first(work, 'a'), second(work, 'b'), third(work, 'c'); }
    const std::string text = fileText(path);
    EXPECT_EQ(text, std::string(10000, text.front()));
    EXPECT_EQ(folder.fileCount(), 1u);
}
