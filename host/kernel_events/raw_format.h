// Where the fields of an event stand in its bytes, as the event's format gives it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace host::kernel_events {

struct RawField {
    enum class Form : std::uint8_t {
        Number,
        Text,          // an array of characters that ends at its first zero byte, or with the event
        MovedText,     // a number: offset (low half) and size (high half) of a text in the event
        FollowingText  // the same, its offset counted from after the number
    };

    std::string name;
    Form form = Form::Number;
    std::size_t offset = 0;  // bytes
    std::size_t size = 0;    // bytes
    bool isSigned = false;

    // False if the bytes end before the field does, or its size is none of a number's.
    bool read(std::span<const char> bytes, std::int64_t& number) const;

    // The text points into the bytes. False if it does not lie in them.
    bool read(std::span<const char> bytes, std::string_view& text) const;
};

// Fields are numbers of the byte order of this machine.
struct RawFormat {
    std::string event;  // name, without its group
    std::uint64_t id = 0;
    std::vector<RawField> fields;

    const RawField* find(std::string_view name) const;

    // Reads the file "format" of an event. Nothing if it is none.
    static std::optional<RawFormat> parse(std::string_view text);
};

// The number of the event whose bytes these are: it stands in front. 0, which is no event's, if there are
// none.
std::uint64_t eventNumber(std::span<const char> bytes);

}  // namespace host::kernel_events
