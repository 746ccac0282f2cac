#include "host/kernel_events/raw_format.h"

#include <algorithm>
#include <cstring>

#include "host/base/text.h"

namespace host::kernel_events {

namespace {

template <typename Number>
std::int64_t numberAt(const char* bytes) {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return static_cast<std::int64_t>(number);
}

bool takeAfter(std::string_view text, std::string_view key, std::uint64_t& number) {
    const std::size_t at = text.find(key);
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at + key.size());
    return base::takeUnsigned(text, number);
}

bool isNamePart(char character) {
    return character == '_' || (character >= '0' && character <= '9') ||
           ((character | 0x20) >= 'a' && (character | 0x20) <= 'z');
}

// "__data_loc char[] name", "char comm[16]", "const char * action", "u32 state".
void readDeclaration(std::string_view text, RawField& field) {
    bool isArray = false;
    if (text.ends_with(']')) {
        isArray = true;
        text = text.substr(0, text.rfind('['));
    }
    std::size_t first = text.size();
    while (first > 0 && isNamePart(text[first - 1])) --first;
    field.name = text.substr(first);
    if (text.find("__data_loc") != std::string_view::npos)
        field.form = RawField::Form::MovedText;
    else if (text.find("__rel_loc") != std::string_view::npos)
        field.form = RawField::Form::FollowingText;
    else if (isArray && text.find("char") != std::string_view::npos)
        field.form = RawField::Form::Text;
}

// "	field:TYPE NAME;	offset:8;	size:4;	signed:0;"
bool readField(std::string_view line, RawField& field) {
    constexpr std::string_view FIELD = "field:";
    const std::size_t begin = line.find(FIELD);
    const std::size_t end = line.find(';');
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint64_t isSigned = 0;
    if (begin == std::string_view::npos || end == std::string_view::npos || end < begin) return false;
    if (!takeAfter(line, "\toffset:", offset) || !takeAfter(line, "\tsize:", size)) return false;
    takeAfter(line, "\tsigned:", isSigned);
    readDeclaration(line.substr(begin + FIELD.size(), end - begin - FIELD.size()), field);
    field.offset = offset;
    field.size = size;
    field.isSigned = isSigned != 0;
    return true;
}

std::string_view untilZero(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

}  // namespace

bool RawField::read(std::span<const char> bytes, std::int64_t& number) const {
    if (offset > bytes.size() || bytes.size() - offset < size) return false;
    const char* const at = bytes.data() + offset;
    switch (size) {
        case 1:
            number = isSigned ? numberAt<std::int8_t>(at) : numberAt<std::uint8_t>(at);
            return true;
        case 2:
            number = isSigned ? numberAt<std::int16_t>(at) : numberAt<std::uint16_t>(at);
            return true;
        case 4:
            number = isSigned ? numberAt<std::int32_t>(at) : numberAt<std::uint32_t>(at);
            return true;
        case 8:
            number = numberAt<std::int64_t>(at);
            return true;
        default:
            return false;
    }
}

bool RawField::read(std::span<const char> bytes, std::string_view& text) const {
    std::size_t from = offset;
    std::size_t length = size;
    if (form == Form::MovedText || form == Form::FollowingText) {
        std::int64_t place = 0;
        if (!read(bytes, place)) return false;
        from = static_cast<std::size_t>(place & 0xFFFF) + (form == Form::FollowingText ? offset + size : 0);
        length = static_cast<std::size_t>(place >> 16 & 0xFFFF);
    }
    if (form == Form::Text && size == 0 && offset <= bytes.size()) length = bytes.size() - offset;
    if (from > bytes.size() || bytes.size() - from < length) return false;
    text = untilZero({bytes.data() + from, length});
    return true;
}

const RawField* RawFormat::find(std::string_view name) const {
    const auto found =
        std::find_if(fields.begin(), fields.end(), [&](const RawField& field) { return field.name == name; });
    return found != fields.end() ? &*found : nullptr;
}

std::optional<RawFormat> RawFormat::parse(std::string_view text) {
    RawFormat format;
    std::string_view line;
    bool hasId = false;
    while (base::takeLine(text, line) && !line.starts_with("print fmt:")) {
        RawField field;
        if (line.starts_with("name: ")) format.event = line.substr(6);
        if (line.starts_with("ID:")) hasId = takeAfter(line, "ID:", format.id);
        if (readField(line, field)) format.fields.push_back(std::move(field));
    }
    if (!hasId || format.event.empty() || format.fields.empty()) return std::nullopt;
    return format;
}

std::uint64_t eventNumber(std::span<const char> bytes) {
    std::uint16_t number = 0;
    if (bytes.size() >= sizeof number) std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

}  // namespace host::kernel_events
