#pragma once

// What the functions on files of numbers return.
enum FileResult : int {
    FILE_OK = 0,
    FILE_NOT_OPENED = -1,   // null path, or the file cannot be opened
    FILE_TOO_SHORT = -2,    // fewer values could be read than asked for
    FILE_NOT_WRITTEN = -3,  // a value could not be written
    FILE_TYPE_REFUSED = -4, // data type not accepted
};
