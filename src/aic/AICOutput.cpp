#include "aic/AICSearch.h"

#include <array>
#include <cstdio>
#include <utility>

namespace {

std::string dumpName(const std::string& prefix, const char* kind, const ImageContainer& point) {
    std::array<char, 256> name;
    std::snprintf(name.data(), name.size(), "%s%s_v%1.1f_t%1.1f_e%1.1f.txt", prefix.c_str(), kind,
                  static_cast<double>(point.V), static_cast<double>(point.T), static_cast<double>(point.E));
    return name.data();
}

} // namespace

void c_AIC::note(Search& search, Position point, float value) {
    if (QualityValuesEnabled) {
        bool opened = false;
        QFValuesOutput(point, value, search.prefix, search.appendsQualityValues, &opened);
    }
    if (Cfg.DumpCompensationImages) {
        DumpCompensationImages(point, quotient(search.frame, point), search.prefix);
    }
}

int c_AIC::QFValuesOutput(Position point, float value, std::string prefix, bool append, bool* opened) {
    if (!QualityValuesStream.is_open()) {
        std::array<char, 256> path; // longer names are cut off
        std::snprintf(path.data(), path.size(), "%s%s", prefix.c_str(), Cfg.LogQualityValuesFile.c_str());
        QualityValuesStream.clear();
        QualityValuesStream.open(path.data(), std::ios::out | (append ? std::ios::app : std::ios::trunc));
        if (!QualityValuesStream.is_open()) {
            return fail("c_AIC::Init error opening quality_values_output_file file");
        }
    }
    *opened = true;
    QualityValuesStream << "[ " << point->V << ", " << point->T << ", " << point->E << ", " << value << " ]\n"
                        << std::flush;
    return 0;
}

int c_AIC::DumpCompensationImages(Position point, AICImage quotient, std::string prefix) {
    CalibrationImages->WriteImageTxt(std::move(quotient), dumpName(prefix, "cs", *point));
    CalibrationImages->WriteImageTxt(point->Image, dumpName(prefix, "ff", *point));
    return 0;
}
