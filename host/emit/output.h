// Where the lines of the sources go.
#pragma once

#include <string_view>
#include <utility>

#include "host/emit/line_sink.h"

namespace host::emit {

// A sink that is not asked again once it has refused a line.
class Output {
public:
    explicit Output(LineSink sink) : m_sink(std::move(sink)) {}

    void write(std::string_view line) { m_open = m_open && m_sink(line); }
    bool isOpen() const { return m_open; }

    // From here on lines go elsewhere.
    void redirect(LineSink sink) {
        m_sink = std::move(sink);
        m_open = true;
    }

private:
    LineSink m_sink;
    bool m_open = true;
};

}  // namespace host::emit
