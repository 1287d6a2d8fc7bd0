#pragma once

#include <opencv2/core.hpp>

#include <vector>

// The beam-hardening correction as one would write it with OpenCV: the line of each two masks over the whole
// frame, selected where the pixel lies below its masks. Every buffer is reused.
class OpenCvThickness {
public:
    OpenCvThickness(std::vector<cv::Mat> maskLevels, std::vector<double> maskThickness)
        : masks(std::move(maskLevels)), thickness(std::move(maskThickness)) {}

    const cv::Mat& correct(const cv::Mat& frame, double acqTime) {
        cv::multiply(frame, 1 / acqTime, level);
        cv::log(level, level);
        followLine(0, result);
        cv::compare(level, masks[0], walking, cv::CMP_LT);
        for (std::size_t k = 1; k + 1 < masks.size(); ++k) {
            cv::compare(level, masks[k], below, cv::CMP_LT);
            cv::bitwise_and(walking, below, walking);
            followLine(k, line);
            line.copyTo(result, walking);
        }
        cv::compare(frame, 0, below, cv::CMP_LE);
        result.setTo(0, below);
        return result;
    }

private:
    void followLine(std::size_t lower, cv::Mat& out) {
        cv::subtract(masks[lower + 1], masks[lower], run);
        cv::subtract(level, masks[lower], out);
        cv::divide(out, run, out, thickness[lower + 1] - thickness[lower]);
        cv::add(out, thickness[lower], out);
        cv::compare(run, 0, equal, cv::CMP_EQ);
        out.setTo(0, equal);
    }

    std::vector<cv::Mat> masks;
    std::vector<double> thickness;
    cv::Mat level, run, line, result, walking, below, equal;
};
