#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace host::stream {

// A text in quotation marks, for messages: control characters show as \xNN, and a long text is cut.
std::string quoted(std::string_view text);

// What is wrong with a line. The first fault is kept; each level that it passes on its way out adds where in
// the line it happened. Readers do nothing more once a fault is set.
class Fault {
public:
    bool isSet() const { return m_isSet; }
    const std::string& text() const { return m_text; }

    void clear() {
        m_isSet = false;
        m_text.clear();
    }

    void set(std::string text) {
        if (m_isSet) return;
        m_isSet = true;
        m_text = std::move(text);
    }

    // Say that a fault which has just been set happened in the value of `key`, or in the item of a list.
    void in(std::string_view key) {
        if (m_isSet) in_i(key);
    }
    void in(std::string_view list, std::size_t item);

private:
    void in_i(std::string_view key);

    bool m_isSet = false;
    std::string m_text;
};

}  // namespace host::stream
