#pragma once

#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

// A file whose reader waits until it is released: a filter that takes it for a mask stays in the middle of
// its work for as long as a test wants.
class HeldFile {
public:
    explicit HeldFile(std::string file) : path(std::move(file)) { ::mkfifo(path.c_str(), 0600); }
    ~HeldFile() { release(); }
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;

    // Whether somebody waits.
    bool isRead() {
        if (writer < 0)
            writer = ::open(path.c_str(), O_WRONLY | O_NONBLOCK);
        return writer >= 0;
    }
    void release() {
        const int both = ::open(path.c_str(), O_RDWR); // wakes whoever comes between
        std::filesystem::remove(path);                 // nobody waits from now on
        ::close(both);
        ::close(std::exchange(writer, -1));
    }

private:
    std::string path;
    int writer = -1;
};
