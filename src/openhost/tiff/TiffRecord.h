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

// The file NAME.ombrel.json next to a TIFF output: the description of the run with its settings files, and
// the rows of its frames, one per line. It is replaced atomically from time to time and at the end. The
// record and the pages name the same run, so that a record is never used for the pages of another run. Rows
// are collected in an unnamed file rather than in memory.
class TiffRecord {
public:
    explicit TiffRecord(const OutputPlan& plan);
    explicit TiffRecord(const OutputState& state);

    // The path of the record next to that output.
    static std::string pathFor(const std::string& output);
    // The run that the pages name; empty if they name none. Throws Error.
    static std::string runOf(const std::string& output);
    // Whether the pages belong to a run that `record` describes and that ended before its own record was in
    // place.
    static bool isMissing(const std::string& output, const std::string& record);
    // Throw Error. A page counts as done only if its row exists too; the last few rows of a killed run may be
    // missing.
    static OutputState read(const std::string& output);
    static std::string settings(const std::string& output, std::size_t index);
    static std::vector<zt::u32> touched(const std::string& output);

    // The unique name of this run.
    std::string run() const;
    // Adds a row; writes the file if the last write was some time ago.
    void add(const FrameRow& row);
    void setComplete();
    // prepare() flushes the new contents to the disk, commit() renames them to the path. Throw Error.
    void prepare();
    void commit();
    void write();

    // Whether the path still refers to the file written here.
    bool isInPlace() const;

private:
    void appendRow(const FrameRow& row);
    void storeRows();

    using Clock = std::chrono::steady_clock;

    std::string path;
    QJsonObject json; // without the rows
    FileDescriptor rows;
    zt::u64 rowBytes = 0;
    QByteArray newRows; // not yet in the file of rows
    std::unique_ptr<AtomicFile> prepared;
    std::unique_ptr<AtomicFile> written;
    Clock::time_point nextWrite;
};

} // namespace ombrel
