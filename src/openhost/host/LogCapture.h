#pragma once

#include <string>
#include <vector>

namespace ombrel {

// Collects the lines that are logged on this thread while it stands, in place of the host's sink. The
// innermost one collects.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The capture that collects on this thread, or null.
    static LogCapture* current();

    void add(std::string line) { collected.push_back(std::move(line)); }
    const std::vector<std::string>& lines() const { return collected; }

private:
    LogCapture* outer;
    std::vector<std::string> collected;
};

} // namespace ombrel
