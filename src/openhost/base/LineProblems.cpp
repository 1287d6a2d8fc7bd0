#include "base/LineProblems.h"

#include "base/Error.h"

#include <algorithm>

namespace ombrel {

void LineProblems::add(std::size_t line, const std::string& problem) {
    texts.push_back("line " + std::to_string(line) + ": " + problem);
}

void LineProblems::throwIfAny() const {
    constexpr std::size_t mostListed = 20;
    if (texts.empty())
        return;
    std::string all = path;
    for (std::size_t i = 0; i < std::min(texts.size(), mostListed); ++i)
        all += (i == 0 ? ": " : "; ") + texts[i];
    if (texts.size() > mostListed)
        all += "; and " + std::to_string(texts.size() - mostListed) + " more";
    throw Error(all);
}

} // namespace ombrel
