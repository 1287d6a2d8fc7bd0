#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ombrel::cli {

// The command line of `ombrel run`.
struct RunOptions {
    std::vector<std::string> inputs;
    std::vector<std::string> filters; // "NAME" or "NAME=SETTINGS.xml"
    std::vector<std::string> params;  // "FILTER:PARAM=VALUE"
    std::string output;
    std::string outputType = "f32";
    std::string frames = ":";
    std::optional<double> acqTime; // seconds
    bool replace = false;
    bool force = false;
    int deviceType = 1;
    std::string deviceMask;
    unsigned jobs = 1;
    bool resume = false;
    bool dryRun = false;
    bool noChoice = false;
    std::string report;
    std::string preview;
    std::string plugin;
    std::string log;
    bool quiet = false;
};

} // namespace ombrel::cli
