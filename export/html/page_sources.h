#pragma once

#include <string_view>

namespace exporting {

// The texts that the build makes of the page's own sources (see EmbedPage.cmake).
extern const std::string_view PAGE_FRAME;        // HTML with slots such as {{head}}
extern const std::string_view PAGE_STYLE;        // the style sheet
extern const std::string_view PAGE_SCRIPT;       // all scripts, as one
extern const std::string_view PAGE_STYLE_HASH;   // base64 of the SHA-256 of the style
extern const std::string_view PAGE_SCRIPT_HASH;  // likewise of the script

}  // namespace exporting
