#pragma once

#include <cstdio>
#include <fstream>
#include <string>

// Reads a line without its newline. False at the end of the text, which a line of more than 64 MiB is, too: a
// device or a binary file may hold no newline at all.
bool readBoundedLine(std::istream& text, std::string& line);

// Calls `work` with each line, without its newline. A last line may lack one; the empty text behind a last
// newline is no line. A file that can't be opened has no lines, and what follows a line of more than 64 MiB
// is not read.
template <typename Work>
void forEachLine(const char* path, Work&& work) {
    if (!path)
        return;
    std::ifstream file(path);
    std::string line;
    while (readBoundedLine(file, line))
        work(line);
}

unsigned long getNumberOfLinesInFile(const char* path, bool skipEmpty);

// Reads a line, its newline included, into a buffer that grows by realloc, and returns its length, or -1 when
// there is none. *line and *capacity are a buffer of the caller's, made by malloc, or null and 0; the caller
// frees it in the end. At the end of the file, and when memory runs out, a buffer that the caller brought is
// kept and one that this call made is freed. Null arguments set errno to EINVAL.
int getline(std::FILE* stream, char** line, unsigned long* capacity);
