#pragma once

#include "plugins/log.h"

namespace vyrta {

// Whether a sample may take what earlier ones have worked out. Debug lines report each step of each sample,
// also of steps that change nothing, so that nothing is skipped while they show. A host may change the level
// at any time; it counts from the next message on, so that the lines of one message are of one kind.
class Shortcuts {
public:
    // Looks at the log level. Called once per message.
    void choose() { m_areTaken = !isLogged(LogLevel::Debug); }

    // True if what is `known` may be used.
    bool allow(bool known) const { return known && m_areTaken; }

private:
    bool m_areTaken = true;
};

}  // namespace vyrta
