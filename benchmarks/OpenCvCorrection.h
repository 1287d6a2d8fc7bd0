#pragma once

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

// The adaptive correction as one would write it with OpenCV: the same steps on the same data, every buffer
// reused. Its sums are OpenCV's, so the last bits differ.
class OpenCvCorrection {
public:
    OpenCvCorrection(cv::Mat borderMask, int tileSide) : mask(std::move(borderMask)), tile(tileSide) {}

    float score(const cv::Mat& frame, const cv::Mat& image) {
        sumTiles(frame, image, quotient);
        ranked.assign(tiles.begin<float>(), tiles.end<float>());
        const auto cut = ranked.begin() + static_cast<std::ptrdiff_t>(ranked.size() * 4 / 5);
        std::nth_element(ranked.begin(), cut, ranked.end());
        double sum = 0;
        for (auto value = ranked.begin(); value != cut; ++value)
            sum += *value;
        return static_cast<float>(sum);
    }

    const cv::Mat& preProcess(const cv::Mat& frame) {
        static const cv::Mat neighbours = (cv::Mat_<float>(3, 3) << 1, 1, 1, 1, 0, 1, 1, 1, 1) / 8;
        cv::filter2D(frame, filtered, CV_32F, neighbours, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
        bad = (frame > 3 * filtered) | (frame < filtered / 3);
        cv::medianBlur(frame, median, 3);
        frame.copyTo(clean);
        median.copyTo(clean, bad);
        double low = 0;
        double high = 0;
        cv::minMaxLoc(clean, &low, &high);
        clean.convertTo(clean, CV_32F, 1 / (high - low), -low / (high - low));
        const auto [darkest, brightest] = quantiles(0.05f, 0.95f);
        cv::max(clean, darkest, clean);
        cv::min(clean, brightest, clean);
        level = high;
        return clean;
    }

    void linear(const cv::Mat& frame, const std::vector<cv::Mat>& images) {
        float best = std::numeric_limits<float>::max();
        for (const cv::Mat& image : images) {
            const float value = score(frame, image);
            if (value < best) {
                best = value;
                cv::swap(quotient, result);
            }
        }
        result *= level;
    }

    void mosaic(const cv::Mat& frame, const std::vector<cv::Mat>& images) {
        quotients.resize(images.size());
        for (std::size_t k = 0; k < images.size(); ++k) {
            sumTiles(frame, images[k], quotients[k]);
            if (k == 0) {
                tiles.copyTo(lowest);
                winners = cv::Mat::zeros(tiles.size(), CV_32S);
            } else {
                bad = tiles < lowest;
                tiles.copyTo(lowest, bad);
                winners.setTo(static_cast<int>(k), bad);
            }
        }
        result.create(frame.size(), CV_32F);
        for (int y = 0; y < winners.rows; ++y) {
            for (int x = 0; x < winners.cols; ++x) {
                const cv::Rect block(x * tile, y * tile, tile, tile);
                quotients[static_cast<std::size_t>(winners.at<int>(y, x))](block).copyTo(result(block));
            }
        }
        result *= level;
    }

private:
    void sumTiles(const cv::Mat& frame, const cv::Mat& image, cv::Mat& candidate) {
        static const cv::Mat kernel = (cv::Mat_<float>(3, 3) << 0, -1, 0, -1, 5, -1, 0, -1, 0);
        cv::divide(frame, image, candidate);
        cv::multiply(candidate, mask, masked);
        cv::filter2D(masked, filtered, CV_32F, kernel, cv::Point(-1, -1), 0, cv::BORDER_CONSTANT);
        magnitude = cv::abs(filtered);
        // The mean of each tile, which is its sum up to a factor.
        cv::resize(magnitude, tiles, {frame.cols / tile, frame.rows / tile}, 0, 0, cv::INTER_AREA);
    }

    std::pair<float, float> quantiles(float lowPortion, float highPortion) {
        const int bins = 512;
        const float range[] = {0, 1.001f};
        const float* ranges = range;
        cv::calcHist(&clean, 1, nullptr, cv::Mat(), histogram, 1, &bins, &ranges);
        const auto find = [&](float portion) {
            float sum = 0;
            int bin = 0;
            while (bin < bins &&
                   (sum += histogram.at<float>(bin)) < portion * static_cast<float>(clean.total()))
                ++bin;
            return static_cast<float>(bin) / bins;
        };
        return {find(lowPortion), find(highPortion)};
    }

    cv::Mat mask;
    int tile;
    double level = 1;
    cv::Mat quotient, masked, filtered, magnitude, tiles, bad, median, clean, histogram, lowest, winners,
        result;
    std::vector<cv::Mat> quotients;
    std::vector<float> ranked;
};
