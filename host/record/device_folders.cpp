#include "host/record/device_folders.h"

namespace host::record {

namespace {

constexpr int DEEPEST = 24;  // folders below each other

void walk(const Root& root, const std::string& path, int depth, std::vector<std::string>& found) {
    for (const std::string& name : root.folders(DEVICES + path)) {
        if (name == "power") {
            found.push_back(path);
        } else if (depth < DEEPEST) {
            std::string below = path;
            below.append("/").append(name);
            walk(root, below, depth + 1, found);
        }
    }
}

}  // namespace

std::vector<std::string> deviceFolders(const Root& root) {
    std::vector<std::string> found;
    walk(root, "", 0, found);
    return found;
}

}  // namespace host::record
