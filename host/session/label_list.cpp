#include "host/session/label_list.h"

#include <cstdlib>
#include <string_view>

namespace host::session {

namespace {

constexpr std::string_view FIRST = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_";

bool isKey(std::string_view key) {
    if (key.empty() || FIRST.find(key.front()) == std::string_view::npos) return false;
    return key.find_first_not_of(std::string(FIRST) + "0123456789") == std::string_view::npos;
}

std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '\\') out += '\\';
        if (c == '\n') {
            out += "\\n";
        } else {
            out += c;
        }
    }
    return out;
}

}  // namespace

bool publishLabels(const std::vector<std::string>& labels, std::string& error) {
    if (labels.empty()) return true;
    std::string lines;
    for (const std::string& label : labels) {
        const std::size_t sign = label.find('=');
        if (sign == std::string::npos || !isKey(std::string_view(label).substr(0, sign))) {
            error =
                "--label " + label + ": expected KEY=VALUE, with a KEY of letters, digits and underscores";
            return false;
        }
        lines += escaped(label) + "\n";
    }
    ::setenv("PWR_LABELS", lines.c_str(), 1);
    return true;
}

}  // namespace host::session
