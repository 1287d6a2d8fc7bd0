#include "host/DataMgr.h"

#include "base/Error.h"
#include "base/FileContent.h"
#include "host/Param.h"

#include <sys/stat.h>
#include <utility>

namespace ombrel {

void DataMgr::defineFrame(const std::string& name, FramePtr frame) {
    const std::lock_guard lock(mutex);
    definitions.insert_or_assign(name, std::move(frame));
}

void DataMgr::undefine(const std::string& name) {
    const std::lock_guard lock(mutex);
    definitions.erase(name);
}

std::string DataMgr::takeError() {
    const std::lock_guard lock(mutex);
    const auto found = errors.extract(std::this_thread::get_id());
    return found ? std::move(found.mapped()) : std::string();
}

void DataMgr::closeFile() {
    const std::lock_guard lock(mutex);
    openFile.reset();
}

template <typename Result, typename Work>
Result DataMgr::guarded(Result failure, Work work) {
    std::string reason;
    {
        const std::lock_guard lock(mutex);
        try {
            return work();
        } catch (const std::bad_alloc&) {
            reason = "not enough memory";
        } catch (const std::exception& thrown) {
            reason = thrown.what();
        }
        errors[std::this_thread::get_id()] = reason;
    }
    if (reportError)
        reportError(reason);
    return failure;
}

zt::IMpxFrame* DataMgr::createFrame(zt::u32 width, zt::u32 height, zt::u8 dataType) {
    return guarded<zt::IMpxFrame*>(
        nullptr, [&] { return Frame::create(width, height, dataType).release(); });
}

zt::IMpxFrame* DataMgr::loadFrame(const char* path, zt::u32 frameIndex) {
    return guarded<zt::IMpxFrame*>(
        nullptr, [&] { return frameOf(textOf(path), frameIndex).release(); });
}

zt::u32 DataMgr::frameCountInFile(const char* path) {
    return guarded<zt::u32>(
        0,
        [&] {
            const std::string name = textOf(path);
            return definitions.contains(name) ? 1u : fileOf(name).info().frames;
        });
}

bool DataMgr::isFrameFile(const char* path) {
    const std::lock_guard lock(mutex);
    return definitions.contains(textOf(path)) || FrameFile::looksLikeFrames(textOf(path));
}

FramePtr DataMgr::frameOf(const std::string& path, zt::u32 index) {
    const auto defined = definitions.find(path);
    FrameFile* const file = defined == definitions.end() ? &fileOf(path) : nullptr;
    const zt::u32 frames = file ? file->info().frames : 1;
    if (index >= frames)
        throw Error(path + ": frame " + std::to_string(index) + " does not exist; it holds " +
                    std::to_string(frames));
    return file ? file->readFrame(index) : FramePtr(static_cast<Frame*>(defined->second->clone()));
}

FrameFile& DataMgr::fileOf(const std::string& path) {
    const FileStamp stamp = stampOf(splitDatasetPath(path).file);
    if (!openFile || openFile->info().path != path || openStamp != stamp) {
        openFile.reset(); // before opening the next, so that only one file is open
        openFile = FrameFile::open(path);
        openStamp = stamp;
    }
    return *openFile;
}

DataMgr::FileStamp DataMgr::stampOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return {}; // opening the file reports the reason
    return {status.st_dev, status.st_ino, static_cast<zt::u64>(status.st_size),
            status.st_mtim.tv_sec * zt::i64{1'000'000'000} + status.st_mtim.tv_nsec};
}

} // namespace ombrel
