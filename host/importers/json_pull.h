// JSON, a value at a time, out of a content of any length.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/importers/buffered_bytes.h"

namespace host::importers {

// Reads values in the order in which they stand, whatever the depth. What does not come as it should makes
// failed() true for good; nothing more is read then and all values are empty.
//
// The writers of JSON results leave out a number that is not finite: its key has no value. It is read as
// not-a-number.
class JsonPull {
public:
    explicit JsonPull(BufferedBytes& content) : m_content(content) {}

    // Enters the object or list that is next. False if it is none.
    bool enterObject() { return enter_i('{'); }
    bool enterList() { return enter_i('['); }

    // True if the next value is of that form.
    bool isObject() { return next_i() == '{'; }
    bool isList() { return next_i() == '['; }
    bool isText() { return next_i() == '"'; }

    // Gets the key of the next member, whose value must be read; false at the end of the object, which is
    // left.
    bool nextKey(std::string& key);

    // True if there is a next value, which must be read; false at the end of the list, which is left.
    bool nextItem() { return goOn_i(']'); }

    // Read a scalar value.
    std::string text();
    double number();
    std::uint64_t whole();
    std::int64_t signedWhole();
    std::string scalar();  // a text, or a number as it stands
    bool truth();

    // Skips a value of any form.
    void skip();

    bool failed() const { return !m_fault.empty(); }

    // Notes that what was read is wrong.
    void fail(const std::string& what);
    const std::string& fault() const { return m_fault; }

private:
    char next_i();  // the next character that is no blank, which stays; '\0' at the end and after a failure
    bool take_i(char character);
    bool enter_i(char bracket);
    bool goOn_i(char bracket);
    std::string_view word_i();
    template <typename Integer>
    Integer whole_i();
    void appendText_i(std::string& out);
    void appendEscape_i(std::string& out);
    bool codeUnit_i(std::uint32_t& unit);

    BufferedBytes& m_content;
    bool m_isFirst = false;  // of an object or a list that has just been entered
    std::string m_word;
    std::string m_fault;
};

}  // namespace host::importers
