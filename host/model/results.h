#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

namespace host::model {

// Where the results of a run lie, and which there are.
//
// Writers name results and temporary files alike by relative paths. A process that works in a folder of its
// own keeps temporary files there (names that end in ".tmp", and whatever the writers open by themselves),
// but opens results in the folder that it came from. In its own folder a link then stands in for each of
// them, so that a writer which removes or looks at a result by its name finds it.
class Results {
public:
    Results();
    Results(const Results&) = delete;
    Results& operator=(const Results&) = delete;

    // Names the folder of the results: `folder` is a descriptor that stays the caller's, `path` its absolute
    // path. Without it results lie in the working directory, like everything else.
    void setFolder(int folder, const std::string& path);

    // The descriptor that `path` is relative to, for openat: AT_FDCWD for temporary files.
    int folderOf(const std::string& path) const;

    // Notes that the result `path` has been created, or opened to be appended to.
    void note(const std::string& path);

    // Notes that a result could not be created. `error` is an errno value.
    void noteUncreated(const std::string& path, int error);

    // Removes the results whose stand-in a writer has removed, and the other stand-ins. Needs no memory.
    void settle();

    struct Made {
        std::string path;
        std::uint64_t size;  // bytes
    };

    // The results that are there, in the order in which they were made.
    std::vector<Made> made() const;

    // A result that could not be created.
    struct Uncreated {
        std::string path;
        int error;  // an errno value
    };
    const std::vector<Uncreated>& uncreated() const { return m_uncreated; }

    // True for names that no result has.
    static bool isTemporary(const std::string& path);

private:
    // A link in the working directory, to the result of that name or to a folder on its path.
    struct StandIn {
        std::string name;
        bool isResult;
    };
    void standIn_i(const std::string& path);

    int m_folder;
    std::string m_folderPath;
    std::vector<std::string> m_made;
    std::unordered_set<std::string> m_known;  // the same
    std::vector<StandIn> m_standIns;
    std::vector<Uncreated> m_uncreated;
};

}  // namespace host::model
