#include "host/cli/replay_inputs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include "host/base/complain.h"

namespace host::cli {

namespace {

std::unique_ptr<importers::Input> openInput(const std::string& path, const base::StopSignal& stop) {
    std::string error;
    auto input = importers::Input::open(path, &stop, error);
    if (input == nullptr) base::complain(error);
    return input;
}

// What tells a file from all others.
using FileId = std::pair<dev_t, ino_t>;

// None if the input can't be asked any more.
std::optional<FileId> fileOf(const std::string& input) {
    struct stat status {};
    const int result = input == "-" ? ::fstat(STDIN_FILENO, &status) : ::stat(input.c_str(), &status);
    if (result != 0) return std::nullopt;
    return FileId(status.st_dev, status.st_ino);
}

}  // namespace

bool ReplayInputs::open(const std::vector<std::string>& paths, const base::StopSignal& stop) {
    m_stop = &stop;
    for (const std::string& path : paths) {
        m_inputs.push_back(openInput(path, stop));
        if (m_inputs.back() == nullptr) return false;
    }
    return true;
}

bool ReplayInputs::setKind(const std::string& kind) {
    m_kind = importers::findKind(kind);
    if (m_kind != nullptr) return true;
    base::complain("unknown kind of input \"" + kind + "\"; there are: " + importers::kindNames());
    return false;
}

bool ReplayInputs::recognise() {
    m_isGuessed = m_kind == nullptr;
    if (m_isGuessed &&
        !std::all_of(m_inputs.begin(), m_inputs.end(), [this](auto& input) { return recognise_i(*input); }))
        return false;
    return m_inputs.size() == 1 || sort_i();
}

bool ReplayInputs::recognise_i(importers::Input& input) {
    const importers::InputKind* const kind = importers::recogniseKind(input.content());
    if (kind == nullptr) {
        base::complain(input.name() + ": no kind of input that is known; there are: " +
                       importers::kindNames() + " (--from KIND names one)");
        return false;
    }
    if (m_kind != nullptr && m_kind != kind) {
        base::complain(input.name() + " is " + kind->name + ", but " + m_inputs.front()->name() + " is " +
                       m_kind->name + ": the inputs of one replay are parts of one run");
        return false;
    }
    m_kind = kind;
    return true;
}

std::string ReplayInputs::doubtOf(importers::Input& input) const {
    if (!m_isGuessed || importers::beginsLikeStream(input.content())) return {};
    return "; no kind of input that is known begins so, there are: " + importers::kindNames() +
           " (--from KIND names one)";
}

bool ReplayInputs::contain(const std::string& path) const {
    struct stat file {};
    if (::stat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode)) return false;
    return std::any_of(m_inputs.begin(), m_inputs.end(), [&](const auto& input) {
        return fileOf(input->name()) == FileId(file.st_dev, file.st_ino);
    });
}

// Returns true after a complaint about a file that is given twice.
bool ReplayInputs::isAnyTwice_i() const {
    std::set<FileId> files;
    for (const auto& input : m_inputs) {
        const std::optional<FileId> file = fileOf(input->name());
        if (!file || files.insert(*file).second) continue;
        base::complain(input->name() + " is given twice");
        return true;
    }
    return false;
}

bool ReplayInputs::sort_i() {
    if (m_kind->make == nullptr) return true;  // streams go on from one to the next, as they are given
    if (m_kind->place == nullptr) {
        base::complain(std::string("a run of kind ") + m_kind->name + " is one file, not " +
                       std::to_string(m_inputs.size()));
        return false;
    }
    if (isAnyTwice_i()) return false;
    std::vector<std::pair<importers::PartKey, std::unique_ptr<importers::Input>>> parts;
    for (auto& input : m_inputs) {
        if (input->fileSize() == 0) {
            base::complain(input->name() + ": the parts of a run are files with content");
            return false;
        }
        const auto key = m_kind->place(*input);
        if (!key) {
            base::complain(input->name() + ": too much is damaged to tell which part of a run it is");
            return false;
        }
        // The content has been read through: once more from its begin.
        parts.emplace_back(*key, openInput(input->name(), *m_stop));
        if (parts.back().second == nullptr) return false;
    }
    for (const auto& [key, input] : parts) {
        if (key.run == parts.front().first.run) continue;
        base::complain(input->name() + " is of another run than " + parts.front().second->name());
        return false;
    }
    std::stable_sort(parts.begin(), parts.end(), [](const auto& a, const auto& b) {
        const auto placeOf = [](const importers::PartKey& key) {
            return std::tie(key.place, key.placeBehind, key.definitions);
        };
        return placeOf(a.first) < placeOf(b.first);
    });
    std::transform(parts.begin(), parts.end(), m_inputs.begin(),
                   [](auto& part) { return std::move(part.second); });
    return true;
}

std::uint64_t ReplayInputs::totalSize() const {
    std::uint64_t total = 0;
    for (const auto& input : m_inputs) {
        if (input->fileSize() == 0) return 0;
        total += input->fileSize();
    }
    return total;
}

}  // namespace host::cli
