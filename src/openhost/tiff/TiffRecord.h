#pragma once

#include "base/AtomicFile.h"
#include "base/FileDescriptor.h"
#include "frame/FrameOutput.h"

#include <QByteArray>
#include <QJsonObject>

#include <chrono>
#include <memory>
#include <string>

namespace ombrel {

// The file NAME.ombrel.json beside a TIFF output: what the run is, with its settings files, and the rows of
// its frames, a line each. It is replaced in one step, now and then and at the end. It and the pages name the
// same run, so that a record is never taken for that of another run's pages. Rows are gathered in a file
// without a name rather than in memory.
class TiffRecord {
public:
    explicit TiffRecord(const OutputPlan& plan);
    explicit TiffRecord(const OutputState& state);

    // Beside the output of that path.
    static std::string pathFor(const std::string& output);
    // The run that the pages name; empty for pages that name none. Throws Error.
    static std::string runOf(const std::string& output);
    // Whether the pages are of a run that `record` describes, which ended before its own record was in place.
    static bool isMissing(const std::string& output, const std::string& record);
    // Throw Error. A page counts as done only when its row is there, too; those of the last few of a killed
    // run may be missing.
    static OutputState read(const std::string& output);
    static std::string settings(const std::string& output, std::size_t index);

    // The name of this run, which no other has.
    std::string run() const;
    // Writes the file when it was not written for a while.
    void add(const FrameRow& row);
    void setComplete();
    // The new contents on the disk, not in place before commit(). Throw Error.
    void prepare();
    void commit();
    void write();

    // Whether the file is there as it was written.
    bool isInPlace() const;

private:
    void appendRow(const FrameRow& row);
    void storeRows();

    using Clock = std::chrono::steady_clock;

    std::string path;
    QJsonObject json; // but for the rows
    FileDescriptor rows;
    zt::u64 rowBytes = 0;
    QByteArray newRows; // not yet in the file of rows
    std::unique_ptr<AtomicFile> prepared;
    std::unique_ptr<AtomicFile> written;
    Clock::time_point nextWrite;
};

} // namespace ombrel
