// The inputs of a replay: opened, recognised, put in order.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/base/stop_signal.h"
#include "host/importers/input_kinds.h"

namespace host::cli {

class ReplayInputs {
public:
    // Opens all paths, so that a name that is wrong shows before anything is done. Returns false after a
    // complaint.
    bool open(const std::vector<std::string>& paths, const base::StopSignal& stop);

    // Says what kind they are of, whatever they look like. Returns false after a complaint if there is none
    // of that name.
    bool setKind(const std::string& kind);

    // Finds out what kind they are of, unless that is said, and puts the parts of a run in order. Returns
    // false after a complaint: unknown kinds, different kinds or runs.
    bool recognise();

    const importers::InputKind& kind() const { return *m_kind; }

    // What to say of the first line of a message stream that is bad, besides why: that it may be none at all.
    std::string doubtOf(importers::Input& input) const;

    // Whether one of them is the file of that name, which writing there would destroy.
    bool contain(const std::string& path) const;

    // In order; each can be read once.
    const std::vector<std::unique_ptr<importers::Input>>& inputs() const { return m_inputs; }

    std::uint64_t totalSize() const;  // 0 if it is not known

private:
    bool recognise_i(importers::Input& input);
    bool isAnyTwice_i() const;
    bool sort_i();

    const base::StopSignal* m_stop = nullptr;
    std::vector<std::unique_ptr<importers::Input>> m_inputs;
    const importers::InputKind* m_kind = nullptr;
    bool m_isGuessed = false;  // from the content
};

}  // namespace host::cli
