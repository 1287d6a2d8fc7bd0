// The beam-hardening filter with 8 masks on random pixels, against the same correction written with OpenCV
// and the plain walk, and against two limits: the vector logarithm alone, and reading the masks alone.
#include "Interleaved.h"
#include "filters/BHFilter.h"
#include "host/Host.h"
#include "kernels/Logarithm.h"
#include "kernels/ProcessorDispatch.h"
#include "plugin/filters/OpenCvThickness.h"
#include "plugin/filters/PlainThickness.h"

#include <cmath>
#include <cstring>
#include <random>

namespace {

using ombrel::Frame;
using ombrel::FramePtr;
using PluginOmbrel::Vector;

constexpr std::size_t maskCount = 8;

struct DestroyFilter {
    void operator()(zt::IDataFilter* filter) const { filter->destroy(); }
};

struct LogarithmLoop {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(const double* values, double* out, std::size_t count) {
        for (std::size_t i = 0; i + Lanes <= count; i += Lanes) {
            typename Vector<Lanes>::Doubles x;
            std::memcpy(&x, values + i, sizeof x);
            PluginOmbrel::Logarithm<Lanes>::replace(x);
            std::memcpy(out + i, &x, sizeof x);
        }
    }
};

struct ReadLoop {
    template <std::size_t Lanes>
    __attribute__((always_inline)) static void run(const double* const* masks, std::size_t count,
                                                   double* out) {
        typename Vector<Lanes>::Doubles sums[maskCount] = {};
        for (std::size_t i = 0; i + Lanes <= count; i += Lanes)
            for (std::size_t k = 0; k < maskCount; ++k) {
                typename Vector<Lanes>::Doubles x;
                std::memcpy(&x, masks[k] + i, sizeof x);
                sums[k] += x;
            }
        for (std::size_t k = 0; k < maskCount; ++k)
            out[k] = sums[k][0];
    }
};

FramePtr maskFrame(zt::u32 side, double thickness, std::mt19937_64& random) {
    FramePtr frame = Frame::create(side, side, zt::DT_DOUBLE);
    std::uniform_real_distribution<double> sensitivity(0.97, 1.03);
    for (double& pixel : frame->pixels<double>())
        pixel = 10000 * std::exp(-0.6 * thickness) * sensitivity(random);
    return frame;
}

FramePtr randomFrame(zt::u32 side, std::mt19937_64& random) {
    FramePtr frame = Frame::create(side, side, zt::DT_DOUBLE);
    std::uniform_real_distribution<double> level(-0.3, 5.3); // above all masks to below all
    for (double& pixel : frame->pixels<double>())
        pixel = 10000 * std::exp(-level(random));
    return frame;
}

void compareAt(zt::u32 side) {
    ombrel::Host host([](const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); });
    const std::unique_ptr<PluginOmbrel::BHFilter, DestroyFilter> filter(
        new PluginOmbrel::BHFilter(&host, &host.addDevice(1, side, side)));
    std::mt19937_64 random(3);
    for (std::size_t k = 0; k < maskCount; ++k)
        filter->addMaskFromFrame(maskFrame(side, static_cast<double>(k), random).get(),
                                 static_cast<double>(k), 1);
    filter->logarithmMasks();
    const FramePtr frame = randomFrame(side, random);
    frame->setAcqTime(1.25);

    PlainThickness plain;
    std::vector<cv::Mat> images;
    const int rows = static_cast<int>(side);
    for (const auto& mask : filter->masks()) {
        plain.masks.push_back(mask->data.data());
        plain.thickness.push_back(mask->thickness);
        images.emplace_back(rows, rows, CV_64F, mask->data.data());
    }
    OpenCvThickness peer(images, plain.thickness);
    const cv::Mat input(rows, rows, CV_64F, frame->pixels<double>().data());
    std::vector<double> out(frame->size());
    PluginOmbrel::ThicknessTables tables;
    for (std::size_t k = 0; k < maskCount; ++k)
        tables.add(plain.masks[k], plain.thickness[k]);
    PluginOmbrel::ThicknessOrder order;
    order.find(tables, frame->size());
    const FramePtr walked(static_cast<Frame*>(frame->clone()));

    const FramePtr ours(static_cast<Frame*>(filter->filter(frame.get())));
    const FramePtr plainFrame(static_cast<Frame*>(frame->clone()));
    plain.correct(plainFrame->pixels<double>().data(), frame->size(), 1.25);
    double worstToPlain = 0;
    double worstToPeer = 0;
    const double* const peerPixels = peer.correct(input, 1.25).ptr<double>();
    for (std::size_t i = 0; i < frame->size(); ++i) {
        const double value = ours->pixels<double>()[i];
        worstToPlain = std::max(worstToPlain, std::abs(value - plainFrame->pixels<double>()[i]));
        worstToPeer = std::max(worstToPeer, std::abs(value - peerPixels[i]));
    }

    const std::vector<double> seconds = interleavedMedians(
        {
            {"filter", [&] { FramePtr(static_cast<Frame*>(filter->filter(frame.get()))); }},
            {"walk",
             [&] { PluginOmbrel::replaceByThickness(walked->pixels<double>(), 1.25, tables, order); }},
            {"clone", [&] { FramePtr(static_cast<Frame*>(frame->clone())); }},
            {"OpenCV", [&] { peer.correct(input, 1.25); }},
            {"plain walk",
             [&] {
                 const FramePtr copy(static_cast<Frame*>(frame->clone()));
                 plain.correct(copy->pixels<double>().data(), copy->size(), 1.25);
             }},
            {"logarithm",
             [&] {
                 PluginOmbrel::runVectorised<LogarithmLoop>(frame->pixels<double>().data(), out.data(),
                                                            out.size());
                 keep(out.data());
             }},
            {"masks",
             [&] {
                 PluginOmbrel::runVectorised<ReadLoop>(plain.masks.data(), out.size(), out.data());
                 keep(out.data());
             }},
        },
        21);
    std::printf("%5u", side);
    for (const double time : seconds)
        std::printf(" %8.2f", time * 1e9 / static_cast<double>(frame->size()));
    const double filterTime = seconds[0];
    const double limit = std::max(seconds[5], seconds[6]);
    std::printf(" %8.2f %8.2f %8.2f   %.1e %.1e\n", seconds[3] / filterTime, seconds[4] / filterTime,
                filterTime / limit, worstToPlain, worstToPeer);
}

} // namespace

int main() {
    cv::setNumThreads(1);
    std::printf(
        "ns a pixel; bars: OpenCV/ours >= 7, plain/ours >= 5.5, ours/limit (the larger of log and masks)\n"
        "<= 2 at 1024 and 2048, <= 3.5 at 256; last: the largest differences from the two, in thickness\n");
    std::printf("%5s %8s %8s %8s %8s %8s %8s %8s %8s %8s %8s\n", "side", "filter", "walk", "clone", "OpenCV",
                "plain", "log", "masks", "CV/ours", "pl./ours", "ours/lim");
    for (const zt::u32 side : {256u, 1024u, 2048u})
        compareAt(side);
}
