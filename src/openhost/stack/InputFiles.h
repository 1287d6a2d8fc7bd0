#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ombrel {

// Whether `a` comes before `b` when the digits in both are compared as numbers: img_2 before img_10.
bool comesBefore(std::string_view a, std::string_view b);

// Whether an input is a folder, or a pattern such as "scan/img_*.tif" that is not the name of a file. Such an
// input is a series of files. Like a file, it may be followed by "::/path/of/dataset".
bool isFileSeries(const std::string& input);

// The files of an input in natural order.
struct InputFiles {
    std::vector<std::string> paths;  // with the dataset that the input names
    std::vector<std::string> others; // names of the other files and folders that it covers
};

// Files without frames are passed over, unless their names end like those of files with frames: a frame would
// be missing without a word. Throws Error for that, and if no file or files of several formats remain.
InputFiles filesOfSeries(const std::string& input);

// "scan/: passed over 3 other files: notes.txt, scan.log, thumbs"; empty without others.
std::string passedOverText(const std::string& input, const std::vector<std::string>& others);

} // namespace ombrel
