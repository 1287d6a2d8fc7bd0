#pragma once

#include "standalone/AtomicFile.h"
#include "standalone/FileDescriptor.h"
#include "standalone/FrameOutput.h"

#include <QByteArray>
#include <QJsonObject>

#include <chrono>
#include <memory>
#include <string>

namespace ombrel {

// The file NAME.ombrel.json beside a TIFF output: what the run is, with its settings files, and the rows of
// its frames, a line each. It is replaced in one step, now and then and at the end; how many frames there are
// the pages of the TIFF file tell. Rows that stand in the file are not kept in memory.
class TiffRecord {
public:
    explicit TiffRecord(const OutputPlan& plan);
    explicit TiffRecord(const OutputState& state);

    // Beside the output of that path.
    static std::string pathFor(const std::string& output);
    // Throw Error. A page counts as done when its row stands there, too; those of the last few of a killed
    // run may be missing.
    static OutputState read(const std::string& output);
    static std::string settings(const std::string& output, std::size_t index);

    // Writes the file when it was not written for a while.
    void add(const FrameRow& row);
    void setComplete();
    // Throws Error.
    void write();

private:
    void appendRow(const FrameRow& row);
    void copyRows(AtomicFile& file) const;

    using Clock = std::chrono::steady_clock;

    std::string path;
    QJsonObject json; // but for the rows
    QByteArray newRows;
    std::unique_ptr<FileDescriptor> written; // the file as it stands, with its rows at
    zt::u64 rowsBegin = 0;
    zt::u64 rowsEnd = 0;
    Clock::time_point nextWrite;
};

} // namespace ombrel
