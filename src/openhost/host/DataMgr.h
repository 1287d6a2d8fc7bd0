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
#include <variant>
#include <vector>

namespace ombrel {

// One frame of a file.
struct FrameSource {
    std::string path;
    FrameRole role = FrameRole::Any;
    zt::u32 index = 0; // among the frames of that role
};

// Creates frames and reads them from files, for filters. On a failure, returns null, 0 or false; takeError()
// then returns the reason. Thread-safe.
//
// A host decides what a path means: a name defined here refers to frames of any number of files, or to a
// frame in memory, wherever a filter accepts a path.
class DataMgr final : public zt::IDataMgr {
public:
    void defineFrames(const std::string& name, std::vector<FrameSource> frames);
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
    using Definition = std::variant<std::vector<FrameSource>, FramePtr>;

    // Identifies the contents of a file when it was opened; a file rewritten since is opened again.
    struct FileStamp {
        zt::u64 device = 0;
        zt::u64 inode = 0;
        zt::u64 bytes = 0;
        zt::i64 changed = 0; // nanoseconds
        bool operator==(const FileStamp&) const = default;
    };

    static FileStamp stampOf(const std::string& path);
    FrameFile& fileOf(const std::string& path, FrameRole role);
    FramePtr frameOf(const std::string& path, zt::u32 index);
    FramePtr frameOf(const FrameSource& source);
    // The result of `work`, or `failure` after storing the reason.
    template <typename Result, typename Work>
    Result guarded(Result failure, Work work);

    std::mutex mutex;
    std::map<std::string, Definition> definitions;
    std::unique_ptr<FrameFile> openFile;
    FrameRole openRole = FrameRole::Any;
    FileStamp openStamp;
    std::map<std::thread::id, std::string> errors;
    std::function<void(const std::string&)> reportError;
};

} // namespace ombrel
