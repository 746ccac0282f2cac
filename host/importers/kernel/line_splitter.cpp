#include "host/importers/kernel/line_splitter.h"

namespace host::importers {

// Looks at more bytes; false if there are none.
bool LineSplitter::look_i() {
    m_content.skip(m_taken);
    m_taken = 0;
    const std::size_t size = m_rest.size();
    m_rest = m_content.peek(size + 1);
    return m_rest.size() > size;
}

void LineSplitter::take_i(std::string_view& line, std::size_t size) {
    line = m_rest.substr(0, size);
    m_rest.remove_prefix(size);
    m_taken += size;
}

bool LineSplitter::next(std::string_view& line) {
    std::size_t searched = 0;
    std::size_t end = 0;
    while ((end = m_rest.find('\n', searched)) == std::string_view::npos) {
        searched = m_rest.size();
        if (searched >= LONGEST) {
            take_i(line, LONGEST);
            return true;
        }
        if (look_i()) continue;
        take_i(line, m_rest.size());
        return !line.empty();
    }
    take_i(line, end + 1);
    line.remove_suffix(1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return true;
}

}  // namespace host::importers
