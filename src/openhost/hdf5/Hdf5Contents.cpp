#include "hdf5/Hdf5Contents.h"

#include "hdf5/Hdf5Handle.h"
#include "hdf5/Hdf5Mask.h"
#include "hdf5/Hdf5Sources.h"

#include <algorithm>
#include <array>
#include <exception>
#include <sys/stat.h>

namespace ombrel {

namespace {

struct Group {
    std::string path;  // "" for the root
    Hdf5Object object; // kept open for its identity
    Hdf5Identity identity;
};

// Walks through the groups, those near the root first.
class Walk {
public:
    explicit Walk(hid_t file) { addGroup("", openHdf5Object(file, "/")); }

    Hdf5Contents run() {
        for (std::size_t index = 0; index < groups.size(); ++index) {
            current = index;
            H5Literate(groups[index].object, H5_INDEX_NAME, H5_ITER_INC, nullptr, visitLink, this);
            if (failure)
                std::rethrow_exception(failure);
        }
        const std::vector<std::string> more = sources.files();
        contents.files.insert(contents.files.end(), more.begin(), more.end());
        return std::move(contents);
    }

private:
    // Called by the library's C code, so it must not throw.
    static herr_t visitLink(hid_t group, const char* name, const H5L_info_t*, void* walk) {
        auto& self = *static_cast<Walk*>(walk);
        try {
            const std::string path = self.groups[self.current].path + '/' + name;
            Hdf5Object object = openHdf5Object(group, name);
            object.isOpen() ? self.addLink(path, std::move(object)) : self.addDeadLink(group, name, path);
            return 0;
        } catch (...) {
            self.failure = std::current_exception();
            return -1;
        }
    }

    void addLink(const std::string& path, Hdf5Object object) {
        if (H5Iget_type(object) == H5I_GROUP)
            return addGroup(path, std::move(object));
        if (H5Iget_type(object) != H5I_DATASET)
            return;
        noteFile(hdf5FileName(object));
        auto problem = sources.problemOf(object);
        auto shape = problem ? shapeOfBrokenImages(object) : shapeOfImages(object);
        if (shape)
            addDataset(path, std::move(object), std::move(*shape), std::move(problem));
        else
            contents.others.push_back(path);
    }

    void noteFile(std::string name) {
        if (std::ranges::find(contents.files, name) != contents.files.end())
            return;
        contents.files.push_back(std::move(name));
        allowOpenFiles(contents.files.size()); // each one stays open until the walk ends
    }

    void addDeadLink(hid_t group, const std::string& name, const std::string& path) {
        contents.others.push_back(path + " (a dangling link)");
        const auto dead = deadLinkOn(group, name);
        if (dead && dead->intoOtherFile)
            contents.deadLinks.emplace(path, path.substr(0, path.size() - name.size()) + dead->text);
    }

    void addGroup(const std::string& path, Hdf5Object object) {
        const auto identity = Hdf5Identity::of(object);
        if (std::ranges::find(groups, identity, &Group::identity) != groups.end())
            return;
        if (textAttribute(object, "NX_class") == "NXdetector")
            contents.detectors.push_back(path);
        groups.push_back({path, std::move(object), identity});
    }

    void addDataset(const std::string& path, Hdf5Object object, Hdf5Shape shape,
                    std::optional<std::string> problem) {
        const auto identity = Hdf5Identity::of(object);
        const auto known = std::ranges::find(contents.candidates, identity, &Hdf5Candidate::identity);
        if (known != contents.candidates.end())
            known->paths.push_back(path);
        else
            contents.candidates.push_back(
                {{path}, std::move(object), identity, std::move(shape), std::move(problem)});
    }

    Hdf5Contents contents;
    Hdf5Sources sources;
    std::vector<Group> groups;
    std::size_t current = 0;
    std::exception_ptr failure;
};

} // namespace

Hdf5Identity Hdf5Identity::of(hid_t object) {
    H5O_info_t info{};
    return H5Oget_info2(object, &info, H5O_INFO_BASIC) < 0 ? Hdf5Identity{}
                                                           : Hdf5Identity{info.fileno, info.addr};
}

Hdf5Contents listContents(hid_t file) {
    return Walk(file).run();
}

namespace {

// Identifies a state of a file.
using FileStamp = std::array<long long, 7>;

FileStamp stampOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return {};
    return {static_cast<long long>(status.st_dev),
            static_cast<long long>(status.st_ino),
            status.st_size,
            status.st_mtim.tv_sec,
            status.st_mtim.tv_nsec,
            status.st_ctim.tv_sec,
            status.st_ctim.tv_nsec};
}

Hdf5Names namesOf(const Hdf5Contents& contents) {
    Hdf5Names names;
    for (const Hdf5Candidate& candidate : contents.candidates) {
        const auto paths = std::make_shared<const std::vector<std::string>>(candidate.paths);
        for (const std::string& path : *paths)
            names.datasets.emplace(path, paths);
    }
    names.files = contents.files;
    return names;
}

// The listings of the files that were used last.
class Listings {
public:
    std::shared_ptr<const Hdf5Names> of(const std::string& path) {
        const FileStamp stamp = stampOf(path);
        const auto found = std::ranges::find(known, stamp, &Listing::stamp);
        if (found != known.end())
            return found->names;
        const Hdf5FileHandle file = openHdf5(path, "this HDF5 file is truncated or damaged");
        const Hdf5Contents contents = listContents(file);
        const auto names = std::make_shared<Hdf5Names>(namesOf(contents));
        names->detectorMask = maskOfDetector(file);
        const bool mayComplete = !contents.deadLinks.empty(); // without a change of this file
        if (!mayComplete)
            keep({stamp, names});
        return names;
    }

private:
    struct Listing {
        FileStamp stamp;
        std::shared_ptr<const Hdf5Names> names;
    };

    void keep(Listing listing) {
        constexpr std::size_t most = 4;
        if (known.size() == most)
            known.erase(known.begin());
        known.push_back(std::move(listing));
    }

    std::vector<Listing> known;
};

} // namespace

std::shared_ptr<const Hdf5Names> namesInHdf5(const std::string& path) {
    const Hdf5Session session;
    static Listings listings; // used in a session only
    return listings.of(path);
}

} // namespace ombrel
