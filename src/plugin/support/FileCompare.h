#pragma once

// True when both files can be opened and hold the same bytes. They are read `bufferSize` bytes at a time.
bool isFilesEqual(const char* a, const char* b, unsigned long bufferSize);
