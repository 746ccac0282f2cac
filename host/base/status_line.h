#pragma once

#include <cstddef>
#include <string_view>

namespace host::base {

// A line on standard error that is overwritten as things go on.
class StatusLine {
public:
    StatusLine() = default;
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;
    ~StatusLine() { clear(); }

    // Shows `text`, which is one line, in place of what is shown. It is cut where a terminal would wrap it:
    // what a terminal wraps cannot be overwritten.
    void show(std::string_view text);

    // Leaves what is shown where it is; other text follows on the next line.
    void keep();

    // Removes what is shown, so that other text can follow.
    void clear();

private:
    std::size_t m_shown = 0;  // columns
};

}  // namespace host::base
