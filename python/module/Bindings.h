#pragma once

#include "run/RunSetup.h"
#include "run/SharedChain.h"
#include "stack/FrameStack.h"
#include "stack/PixelMask.h"

#include <memory>
#include <mutex>
#include <optional>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <string>
#include <vector>

namespace ombrel::python {

// Frames of one role in files.
class Stack {
public:
    // `role` is "sample", "flat" or "dark".
    Stack(const std::vector<std::string>& paths, const std::string& role);

    const std::shared_ptr<FrameStack>& frames() const { return stack; }
    pybind11::array read(zt::u64 frame) const;
    // The mask that a detector stored next to the frames.
    std::optional<PixelMask> mask() const;
    // The number of frames of another role in the same files; 0 for files that do not mark their frames.
    zt::u64 count(const std::string& role) const;

private:
    std::shared_ptr<FrameStack> stack;
};

// The filters of a chain with their settings, and the chains loaded from them so far, by frame size and mask.
class Filters {
public:
    Filters(RunOptions chainOptions, std::vector<zt::u8> chainMask)
        : options(std::move(chainOptions)), ownMask(std::move(chainMask)) {}

    const RunOptions& plan() const { return options; }
    bool hasMask() const { return !ownMask.empty(); }
    const std::vector<zt::u8>& mask() const { return ownMask; }

    // Loads the chain at its first use. Called without the interpreter. Throws UsageError or Error.
    std::shared_ptr<SharedChain> forFrames(FrameSize size, const std::vector<zt::u8>& mask);
    // A chain of its own for frames in order, if the filters carry state from frame to frame.
    std::shared_ptr<SharedChain> forSequence(FrameSize size, const std::vector<zt::u8>& mask);

    pybind11::array call(const pybind11::object& x, const pybind11::object& time,
                         const pybind11::object& out);
    // The time that frames take without the interpreter, for benchmarks.
    double secondsOf(const std::vector<pybind11::object>& arrays);

private:
    struct Loaded {
        FrameSize size;
        std::vector<zt::u8> mask;
        std::shared_ptr<SharedChain> chain;
    };

    const RunOptions options;
    const std::vector<zt::u8> ownMask;
    std::mutex mutex;
    std::vector<Loaded> loaded; // the one used last at the end
};

// The path of the plug-in next to this module or where it is installed.
std::string pluginPath();

void bindScan(pybind11::module_& module);
void bindChain(pybind11::module_& module);
void bindRun(pybind11::module_& module);
void bindCalibration(pybind11::module_& module);

} // namespace ombrel::python
