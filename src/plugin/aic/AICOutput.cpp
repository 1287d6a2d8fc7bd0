#include "aic/AICSearch.h"

#include <array>
#include <charconv>
#include <string>
#include <utility>

namespace {

constexpr std::size_t longestName = 255; // longer ones are truncated

// One decimal, with a point in every locale.
std::string oneDecimal(float value) {
    std::array<char, 64> digits;
    const auto end = std::to_chars(digits.begin(), digits.end(), value, std::chars_format::fixed, 1);
    return {digits.begin(), end.ptr};
}

// As a stream prints it by default, with at most six digits, and with a point in every locale.
void appendNumber(std::string& line, float value) {
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.begin(), digits.end(), value, std::chars_format::general, 6);
    line.append(digits.begin(), end.ptr);
}

std::string dumpName(const std::string& prefix, const char* kind, const ImageContainer& point) {
    const std::string name = prefix + kind + "_v" + oneDecimal(point.V) + "_t" + oneDecimal(point.T) + "_e" +
                             oneDecimal(point.E) + ".txt";
    return name.substr(0, longestName);
}

} // namespace

void c_AIC::note(Search& search, Position point, float value) {
    work->record.candidates.push_back({point, value});
    if (QualityValuesEnabled) {
        bool opened = false;
        QFValuesOutput(point, value, search.prefix, search.appendsQualityValues, &opened);
    }
    if (Cfg.DumpCompensationImages)
        DumpCompensationImages(point, quotient(search.frame, point), search.prefix);
}

int c_AIC::QFValuesOutput(Position point, float value, std::string prefix, bool append, bool* opened) {
    if (!QualityValuesStream.is_open()) {
        const std::string path = (prefix + Cfg.LogQualityValuesFile).substr(0, longestName);
        QualityValuesStream.clear();
        QualityValuesStream.open(path, std::ios::out | (append ? std::ios::app : std::ios::trunc));
        if (!QualityValuesStream.is_open())
            return fail("c_AIC::Init error opening quality_values_output_file file");
    }
    *opened = true;
    const char* before = "[ ";
    work->line.clear();
    for (const float number : {point->V, point->T, point->E, value}) {
        appendNumber(work->line += before, number);
        before = ", ";
    }
    QualityValuesStream << (work->line += " ]\n") << std::flush;
    return 0;
}

int c_AIC::DumpCompensationImages(Position point, AICImage quotient, std::string prefix) {
    CalibrationImages->WriteImageTxt(std::move(quotient), dumpName(prefix, "cs", *point));
    CalibrationImages->WriteImageTxt(point->Image, dumpName(prefix, "ff", *point));
    return 0;
}
