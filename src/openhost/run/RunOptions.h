#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// A filter as the command line names it.
struct FilterOption {
    std::string name;
    std::string settings; // path; empty where there is none

    explicit FilterOption(const std::string& text)
        : name(text.substr(0, text.find('='))),
          settings(name.size() < text.size() ? text.substr(name.size() + 1) : std::string()) {}
};

// The command line of `ombrel run`.
struct RunOptions {
    std::vector<std::string> inputs;
    std::vector<std::string> filters; // "NAME" or "NAME=SETTINGS.xml"
    // Where the bytes of each filter's settings stand when that is not the file that it names; else empty.
    std::vector<std::string> settingsContents;
    // Filters write no log and dump no image, whatever settings and parameters name.
    bool discardLogs = false;
    std::vector<std::string> params; // "FILTER:PARAM=VALUE"
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

} // namespace ombrel
