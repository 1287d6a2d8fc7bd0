#pragma once

// The shape of an ASCII matrix: `height` is the number of lines that are not empty (one of blanks alone is
// not), and `width` how many numbers the first of them begins with. A file that can't be opened is 0 by 0.
// Returns 0.
int getAsciiMatrixDimensions(const char* path, unsigned long* width, unsigned long* height);
