#include "support/FileSize.h"

#include <sys/stat.h>

long fileSize(const char* path) {
    struct stat status;
    if (!path || stat(path, &status) != 0 || !S_ISREG(status.st_mode))
        return -1;
    return status.st_size;
}
