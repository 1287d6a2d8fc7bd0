#pragma once

// The size of a file in bytes; -1 when there is no such file, and for a directory or anything else that has
// no size.
long fileSize(const char* path);
