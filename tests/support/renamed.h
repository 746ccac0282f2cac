#pragma once

#include <string>

namespace test {

// The text with each name that begins with `begin` and goes on with the characters of `characters` replaced
// by `name`. std::regex would do, but for the warnings that g++ 12 gives of it under its sanitizers.
inline std::string renamed(std::string text, const std::string& begin, const std::string& characters,
                           const std::string& name) {
    for (std::size_t at = text.find(begin); at != std::string::npos;
         at = text.find(begin, at + name.size())) {
        const std::size_t end = text.find_first_not_of(characters, at);
        text.replace(at, end == std::string::npos ? end : end - at, name);
    }
    return text;
}

}  // namespace test
