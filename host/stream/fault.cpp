#include "host/stream/fault.h"

namespace host::stream {

std::string quoted(std::string_view text) {
    std::string result;
    result.reserve(text.size() + 2);
    result += '"';
    result += text;
    result += '"';
    return result;
}

void Fault::in(std::string_view key) {
    if (m_isSet) m_text.insert(0, quoted(key).append(": "));
}

void Fault::in(std::string_view list, std::size_t item) {
    if (m_isSet) m_text.insert(0, quoted(list).append("[").append(std::to_string(item)).append("]: "));
}

}  // namespace host::stream
