#include "support/Str.h"

#include "fixtures/Testing.h"

namespace {

TEST(StrSplit, CutsAtEachDelimiterUpToTheLastPartAllowed) {
    const struct {
        const char* text;
        const char* delimiters;
        bool skipEmpty;
        unsigned most; // parts, the last of which takes the rest; 0 for any number
        std::vector<std::string> parts;
    } rows[] = {{"1,2,3", ",", false, 0, {"1", "2", "3"}},
                {"a,b,", ",", false, 0, {"a", "b", ""}},
                {"", ",", false, 0, {""}},
                {"a,b", "", false, 0, {"a,b"}},
                {",a,,b,", ",", true, 0, {"a", "b"}},
                {"", ",", true, 0, {}},
                {"1,2,3", ",", false, 2, {"1", "2,3"}},
                {"1,", ",", true, 2, {"1", ""}},
                {"1,2,3", ",", false, 3, {"1", "2", "3"}},
                {"1,2,3", ",", false, 1, {"1", "2", "3"}},
                {",2,3", ",", true, 1, {"2,3"}},
                // It resumes after as many characters as there are delimiters.
                {"a; b; c", "; ", false, 0, {"a", "b", "c"}},
                {"a;xb", "; ", false, 0, {"a", "b"}},
                {"a; ", "; ", false, 0, {"a", ""}}};
    for (const auto& row : rows)
        EXPECT_EQ(str::split(row.text, row.delimiters, row.skipEmpty, row.most), row.parts)
            << row.text << ' ' << row.most;
    EXPECT_THROW(str::split("a;", "; ", false, 0), std::out_of_range);
    EXPECT_THROW(str::split("a;", "; ", false, 2), std::out_of_range);
}

std::string printed(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string buffer = str::printToBuffer(format, arguments);
    va_end(arguments);
    return buffer;
}

TEST(StrPrint, FormatGivesTheTextAndPrintToBufferAlsoTheRoomBehindIt) {
    for (const std::size_t length : {0u, 511u, 512u, 5000u}) {
        const std::string text(length, 'x');
        EXPECT_EQ(str::format("%s|%d", text.c_str(), 7), text + "|7");
        const std::string buffer = printed("%s", text.c_str());
        EXPECT_EQ(buffer.c_str(), text);
        EXPECT_EQ(buffer.size(), length < 512 ? 512 : length + 1);
    }
    EXPECT_EQ(str::format("100%%"), "100%");
}

TEST(StrPrint, AFormatThatNeverPrintsThrowsInsteadOfGrowingForEver) {
    EXPECT_THROW(str::format("%ls", L"\x7fffffff"), std::length_error);
}

TEST(StrNumbers, PrintSixDigitsWithoutTrailingZeros) {
    EXPECT_EQ(str::fromNum(0.05f), "0.05");
    EXPECT_EQ(str::fromNum(-1.0f), "-1");
    EXPECT_EQ(str::fromNum(1234567.0f), "1.23457e+06");
}

TEST(StrNumbers, AreReadUpToWhatIsNoNumber) {
    int error = 7;
    EXPECT_EQ(str::toNum<float>(" 2.5x", &error), 2.5f);
    EXPECT_EQ(error, 0);
    EXPECT_EQ(str::toNum<float>("abc", &error), 0.0f);
    EXPECT_EQ(error, 1);
    EXPECT_EQ(str::toNum<float>("3", nullptr), 3.0f);
    for (const char* text : {"", "1e999", "-"}) {
        error = 0;
        str::toNum<float>(text, &error);
        EXPECT_EQ(error, 1) << text;
    }
}

} // namespace
