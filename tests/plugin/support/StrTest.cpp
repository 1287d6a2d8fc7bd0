#include "support/Str.h"

#include <gmock/gmock.h>

#include <stdexcept>

using testing::ElementsAre;

namespace {

TEST(StrSplit, CutsAtEachDelimiter) {
    EXPECT_THAT(str::split("1,2,3", ",", false, 0), ElementsAre("1", "2", "3"));
    EXPECT_THAT(str::split("a,b,", ",", false, 0), ElementsAre("a", "b", ""));
    EXPECT_THAT(str::split("", ",", false, 0), ElementsAre(""));
    EXPECT_THAT(str::split("a,b", "", false, 0), ElementsAre("a,b"));
    EXPECT_THAT(str::split(",a,,b,", ",", true, 0), ElementsAre("a", "b"));
    EXPECT_TRUE(str::split("", ",", true, 0).empty());
}

TEST(StrSplit, TheLastPartAllowedTakesTheRest) {
    EXPECT_THAT(str::split("1,2,3", ",", false, 2), ElementsAre("1", "2,3"));
    EXPECT_THAT(str::split("1,", ",", true, 2), ElementsAre("1", ""));
    EXPECT_THAT(str::split("1,2,3", ",", false, 3), ElementsAre("1", "2", "3"));
    EXPECT_THAT(str::split("1,2,3", ",", false, 1), ElementsAre("1", "2", "3"));
    EXPECT_THAT(str::split(",2,3", ",", true, 1), ElementsAre("2,3"));
}

TEST(StrSplit, GoesOnBehindAsManyCharactersAsThereAreDelimiters) {
    EXPECT_THAT(str::split("a; b; c", "; ", false, 0), ElementsAre("a", "b", "c"));
    EXPECT_THAT(str::split("a;xb", "; ", false, 0), ElementsAre("a", "b"));
    EXPECT_THAT(str::split("a; ", "; ", false, 0), ElementsAre("a", ""));
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
