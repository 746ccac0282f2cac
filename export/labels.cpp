#include "export/labels.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace exporting {

namespace {

std::string unescape(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == '\\' && i + 1 < text.size();
        if (isEscape) ++i;
        out += isEscape && text[i] == 'n' ? '\n' : text[i];
    }
    return out;
}

void addLabel(std::string_view line, std::vector<Label>& labels) {
    const std::size_t sign = line.find('=');
    if (sign == std::string_view::npos || sign == 0) return;
    const std::string key(line.substr(0, sign));
    std::string value = unescape(line.substr(sign + 1));
    const auto same =
        std::find_if(labels.begin(), labels.end(), [&](const Label& l) { return l.first == key; });
    if (same != labels.end()) {
        same->second = std::move(value);
    } else {
        labels.emplace_back(key, std::move(value));
    }
}

}  // namespace

std::vector<Label> userLabels() {
    const char* const variable = std::getenv("PWR_LABELS");
    std::vector<Label> labels;
    std::string_view rest = variable != nullptr ? variable : "";
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        addLabel(rest.substr(0, end), labels);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return labels;
}

}  // namespace exporting
