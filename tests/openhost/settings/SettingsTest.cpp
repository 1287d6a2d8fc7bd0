#include "settings/Settings.h"

#include "fixtures/Messages.h"
#include "fixtures/Testing.h"

using namespace ombrel;

namespace {

class SettingsTest : public testing::Test {
protected:
    Settings store(const std::string& file) {
        return Settings(
            file, [this](const std::string& line) { log.push_back(line); });
    }

    // The error of loading this text as a settings file, without its path.
    std::string errorOf(const std::string& text) {
        const std::string bad = folder / "bad.xml";
        writeFileText(bad, text);
        const std::string all = ::errorOf([&] { store(bad).loadFile(); });
        EXPECT_TRUE(all.empty() || all.starts_with(bad + ":")) << all;
        return all.substr(std::min(all.size(), bad.size() + 1));
    }

    std::string errorOfItem(const std::string& item) {
        return errorOf("<settings>\n<group name=\"G\">\n" + item + "\n</group></settings>");
    }

    TemporaryFolder folder;
    const std::string path = folder / "store.xml";
    std::vector<std::string> log;
};

constexpr const char* documented = R"(<?xml version="1.0" encoding="UTF-8"?>
<settings>
  <group name="FF">
    <item key="Interpolate" type="bool">true</item>
    <item key="CoeffsSize" type="int">65536</item>
    <item key="BadFFOverCoeff" type="double">5</item>
    <item key="Source" type="string">a &lt; b</item>
    <item key="Coeffs" type="blob">AAECAw==</item>
  </group>
  <group name="A">
    <item key="z" type="string"></item>
  </group>
</settings>
)";

} // namespace

TEST_F(SettingsTest, WritesTheDocumentedFormInTheOrderOfSetting) {
    Settings settings = store(path);
    settings.setBool("FF", "Interpolate", true);
    settings.setInt("FF", "CoeffsSize", 1);
    settings.setDouble("FF", "BadFFOverCoeff", 5);
    settings.setString("A", "z", nullptr);
    settings.setString("FF", "Source", "a < b");
    settings.setBlob("FF", "Coeffs", "\0\1\2\3", 4);
    settings.setInt("FF", "CoeffsSize", 65536); // stays in its place
    settings.saveFile();
    EXPECT_EQ(fileText(path), documented);

    Settings again = store(path);
    again.loadFile();
    again.save();
    EXPECT_EQ(fileText(path), documented);
    EXPECT_THAT(log, IsEmpty());
}

TEST_F(SettingsTest, EveryValueReadsBackTheSame) {
    const std::vector<double> numbers = {0.1,     -0.0, 5e-324,   1.7976931348623157e308,
                                         1.0 / 3, 1e23, INFINITY, -INFINITY};
    const std::vector<std::string> texts = {"",
                                            " a\tb\n ",
                                            "<&>\"'",
                                            "caf\xc3\xa9 \xf0\x9f\x98\x80",
                                            "%s%n",
                                            "one\r\ntwo",
                                            "\x01\x1b",
                                            "no UTF-8: \xff\xfe",
                                            "\xef\xbf\xbf",
                                            "]]>"};
    Settings settings = store(path);
    for (std::size_t i = 0; i < numbers.size(); ++i)
        settings.setDouble("numbers", std::to_string(i).c_str(), numbers[i]);
    settings.setDouble("numbers", "nan", NAN);
    settings.setInt("numbers", "least", std::numeric_limits<int>::min());
    for (std::size_t i = 0; i < texts.size(); ++i)
        settings.setString("te<x>\"ts", std::to_string(i).c_str(), texts[i].c_str());
    settings.saveFile();

    Settings again = store(path);
    again.loadFile();
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const double back = again.getDouble("numbers", std::to_string(i).c_str(), 99);
        EXPECT_EQ(back, numbers[i]);
        EXPECT_EQ(std::signbit(back), std::signbit(numbers[i]));
    }
    EXPECT_TRUE(std::isnan(again.getDouble("numbers", "nan", 99)));
    EXPECT_EQ(again.getInt("numbers", "least", 0), std::numeric_limits<int>::min());
    for (std::size_t i = 0; i < texts.size(); ++i)
        EXPECT_EQ(again.getString("te<x>\"ts", std::to_string(i).c_str(), "?"), texts[i]) << i;
}

TEST_F(SettingsTest, BlobsOfAnySizeReadBack) {
    constexpr std::size_t piece = std::size_t{1} << 20; // how a blob is cut in memory
    for (const std::size_t size :
         {std::size_t{0}, std::size_t{1}, std::size_t{2}, piece - 1, piece, 3 * piece + 2}) {
        std::vector<unsigned char> bytes(size);
        for (std::size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<unsigned char>(i * 7919 >> 5);
        Settings settings = store(path);
        settings.setBlob("G", "B", bytes.data(), size);
        settings.saveFile();
        Settings again = store(path);
        again.loadFile();
        std::vector<unsigned char> back(size + 10);
        zt::u64 copied = back.size();
        again.getBlob("G", "B", back.data(), &copied);
        ASSERT_EQ(copied, size);
        back.resize(size);
        EXPECT_EQ(back, bytes) << size;
    }
}

TEST_F(SettingsTest, GetBlobTellsHowMuchItCopied) {
    Settings settings = store(path);
    settings.setBlob("G", "B", "abcdef", 6);
    char buffer[8] = "xxxxxxx";
    zt::u64 size = 4;
    settings.getBlob("G", "B", buffer, &size);
    EXPECT_EQ(size, 4u);
    EXPECT_STREQ(buffer, "abcdxxx");
    size = 7;
    settings.getBlob("G", "none", buffer, &size);
    EXPECT_EQ(size, 0u);
    EXPECT_STREQ(buffer, "abcdxxx");
}

TEST_F(SettingsTest, ReadsWhatOtherProgramsWriteOfTheSameContents) {
    writeFileText(
        path,
        "\xef\xbb\xbf<?xml version='1.0'?><!-- it's a > b --><settings><?a '?><group name='G>H'>\r\n"
        "<item type = 'int' key='i'> 7\r\n</item><item key='s' type='string'><![CDATA[<x>]]>&#65;&amp;</item>"
        "<item key='b' type='blob'>\nAAEC\n\tAwQ=\n</item><item key='e' type='blob'/>"
        "</group></settings>\n<!-- the end -->\n\n");
    Settings settings = store(path);
    settings.loadFile();
    EXPECT_EQ(settings.getInt("G>H", "i", 0), 7);
    EXPECT_EQ(settings.getString("G>H", "s", ""), "<x>A&");
    char bytes[8];
    zt::u64 size = sizeof bytes;
    settings.getBlob("G>H", "b", bytes, &size);
    EXPECT_EQ(std::string_view(bytes, size), std::string_view("\0\1\2\3\4", 5));
}

TEST_F(SettingsTest, ErrorsTellLineAndColumn) {
    for (const auto& [text, words] : std::initializer_list<std::pair<std::string, const char*>>{
             {"", "1:1: the file ends within the settings"},
             {std::string("\x7f"
                          "ELF\0\0",
                          6),
              ": not a settings file: "},
             {"<settings>\n <group name=\"G\">", "2:18: the file ends within"},
             {"<html/>", "\"html\" where \"settings\" is expected"},
             {"<settings/><settings/>", "not a settings file"},
             {"<settings>\nword</settings>", "2:6: text outside an item: \"word\""},
             {"<!DOCTYPE settings><settings/>", "a document type"},
             {"<settings><group name='G'/><group name='G'/></settings>", "a second group \"G\""}})
        EXPECT_THAT(errorOf(text), HasSubstr(words));
    for (const auto& [attributes, content, words] :
         {std::tuple("key='k' type='int'", "12a", "3:26: \"12a\" is not of type int"),
          {"key='k' type='int'", "2147483648", "is not of type int"},
          {"key='k' type='double'", "1,5", "is not of type double"},
          {"key='k' type='bool'", "1", "is not of type bool"},
          {"key='k' type='colour'", "red", "unknown type \"colour\""},
          {"key='k'", "1", "the attribute \"type\" is missing"},
          {"key='k' kind='x' type='int'", "1", "unknown attribute \"kind\""},
          {"key='k' type='int'", "<b>1</b>", "an element within an item"},
          {"key='k' type='int'", "1</item>\n<item key='k' type='int'>2",
           "4:26: a second key \"k\" in group \"G\""},
          {"key='k' type='blob'", "AAEC\nAA?E", "4:3: a character that is not base64"},
          {"key='k' type='blob'", "AAE=AAEC", "3:31: a character"},
          {"key='k' type='blob'", "A===", "a character that is not base64"},
          {"key='k' type='blob'", "=AAA", "a character that is not base64"},
          {"key='k' type='blob'", "AA=A", "a character that is not base64"},
          {"key='k' type='blob'", "AA&#65;A", "a character that is not base64"},
          {"key='k' type='blob'", "AAECA\n</item>\n<x/>", "4:1: the base64 text is truncated"}})
        EXPECT_THAT(errorOfItem("<item " + std::string(attributes) + ">" + content + "</item>"),
                    HasSubstr(words));
}

TEST_F(SettingsTest, WhatIsNoBlobHasLimits) {
    const std::string longText(std::size_t{2} << 20, '>');
    EXPECT_THAT(errorOf("<settings a='" + longText), HasSubstr("a tag above 16 KiB"));
    EXPECT_THAT(errorOf("<settings><!-- " + longText),
                HasSubstr("a comment or other construct above 64 KiB"));
    EXPECT_THAT(errorOfItem("<item key='k' type='string'>" + longText + "</item>"),
                HasSubstr("a text above 1 MiB"));
    std::string comments;
    while (comments.size() <= std::size_t{16} << 20)
        comments += "<!--" + longText.substr(0, 65000) + "-->\n";
    EXPECT_THAT(errorOf("<settings>" + comments), HasSubstr("exceed 16 MiB besides its blobs"));
    EXPECT_THAT(errorOf("<settings/>" + comments), HasSubstr("exceed 16 MiB besides its blobs"));
}

TEST_F(SettingsTest, ALoadThatFailsChangesNothingAndIsLogged) {
    Settings settings = store(folder / "missing.xml");
    settings.setInt("G", "k", 3);
    settings.load();
    EXPECT_EQ(settings.getInt("G", "k", 0), 3);
    EXPECT_THAT(log, ElementsAre(folder / "missing.xml: cannot be opened: No such file or directory"));

    Settings directory = store(folder.path.string());
    EXPECT_THROW(directory.loadFile(), Error);
    directory.setInt("G", "k", 3);
    directory.save();
    EXPECT_THAT(log.back(), HasSubstr("cannot be written: it is not a regular file"));

    Settings unnamed = store(path);
    unnamed.setInt("G\x01", "k", 3);
    EXPECT_THROW(unnamed.saveFile(), Error);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path));
}

TEST_F(SettingsTest, AValueOfAnotherTypeIsConvertedWithoutLossOrRefused) {
    Settings settings = store(path);
    settings.setInt("G", "int", 7);
    settings.setDouble("G", "whole", 80);
    settings.setDouble("G", "part", 0.5);
    settings.setString("G", "text", "7");
    EXPECT_EQ(settings.getDouble("G", "int", 0), 7);
    EXPECT_EQ(settings.getInt("G", "whole", 0), 80);
    EXPECT_THAT(log, IsEmpty());
    EXPECT_EQ(settings.getInt("G", "part", 3), 3);
    EXPECT_EQ(settings.getInt("G", "text", 3), 3);
    EXPECT_EQ(settings.getBool("G", "int", true), true);
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(log[1], path + ": group \"G\", key \"text\": the value has type string, but int was requested");
}

TEST_F(SettingsTest, AStoreThatHoldsNothingLeavesItsFileAlone) {
    store(path).saveFile();
    EXPECT_FALSE(std::filesystem::exists(path));
    writeFileText(path, "anything");
    store(path).saveFile();
    EXPECT_EQ(fileText(path), "anything");
}

TEST_F(SettingsTest, SaveReplacesSettingsOfItsOwnKindAndNothingElse) {
    const auto save = [&](const std::string& before) {
        writeFileText(path, before);
        Settings settings = store(path);
        settings.setInt("FF", "k", 3);
        settings.setInt("ombrel", "k", 3);
        log.clear();
        settings.save();
        return fileText(path);
    };
    for (const std::string before :
         {"measured frames", "<settings><group name='FF'>", "<settings/>",
          "<settings><group name='ombrel'/></settings>", "<settings><group name='BHCorr'/></settings>"}) {
        EXPECT_EQ(save(before), before);
        ASSERT_EQ(log.size(), 1u) << before;
        EXPECT_THAT(log[0], HasSubstr("is not replaced; choose another name"));
    }
    EXPECT_THAT(log[0], HasSubstr("other settings (\"BHCorr\", not \"FF\")"));

    const std::string kept = "<item key=\"HeapHash\" type=\"string\">of the file</item>";
    EXPECT_THAT(save("<settings><group name='ombrel'>" + kept + "</group><group name='FF'/></settings>"),
                AllOf(HasSubstr(kept), HasSubstr("key=\"k\" type=\"int\">3"), HasSubstr("ombrel")));
    EXPECT_THAT(save("<settings><group name='FF'/></settings>"), Not(HasSubstr("ombrel")));
    EXPECT_THAT(save(""), HasSubstr("ombrel"));
    EXPECT_THAT(log, IsEmpty());
}
