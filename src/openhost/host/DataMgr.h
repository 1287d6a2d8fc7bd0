#pragma once

#include "frame/Frame.h"
#include "frame/FrameFile.h"
#include "zt/IZenteo.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace ombrel {

// Creates frames and reads them from files, for filters. On a failure, returns null, 0 or false; takeError()
// then returns the reason. Thread-safe.
//
// A host decides what a path means: a name defined here refers to a frame in memory, wherever a filter
// accepts a path.
class DataMgr final : public zt::IDataMgr {
public:
    // Each loadFrame() of the name returns a copy.
    void defineFrame(const std::string& name, FramePtr frame);
    void undefine(const std::string& name);

    // Returns and clears the reason of the last failure on this thread; empty if there was no failure.
    std::string takeError();
    // Called with the reason of each failure, on its thread. For a host whose user does not wait for a call,
    // but works in a filter's window. Set it before the first call.
    void reportErrors(std::function<void(const std::string& reason)> report) {
        reportError = std::move(report);
    }
    // The file read last is kept open, so that reading its frames one after the other opens it only once.
    void closeFile();

    zt::IMpxFrame* createFrame(zt::u32 width, zt::u32 height, zt::u8 dataType) override;
    zt::IMpxFrame* loadFrame(const char* path, zt::u32 frameIndex) override;
    zt::u32 frameCountInFile(const char* path) override;
    bool isFrameFile(const char* path) override;

private:
    // Identifies the contents of a file when it was opened; a file rewritten since is opened again.
    struct FileStamp {
        zt::u64 device = 0;
        zt::u64 inode = 0;
        zt::u64 bytes = 0;
        zt::i64 changed = 0; // nanoseconds
        bool operator==(const FileStamp&) const = default;
    };

    static FileStamp stampOf(const std::string& path);
    FrameFile& fileOf(const std::string& path);
    FramePtr frameOf(const std::string& path, zt::u32 index);
    // The result of `work`, or `failure` after storing the reason.
    template <typename Result, typename Work>
    Result guarded(Result failure, Work work);

    std::mutex mutex;
    std::map<std::string, FramePtr> definitions;
    std::unique_ptr<FrameFile> openFile;
    FileStamp openStamp;
    std::map<std::thread::id, std::string> errors;
    std::function<void(const std::string&)> reportError;
};

} // namespace ombrel
