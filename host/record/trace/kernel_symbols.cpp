#include "host/record/trace/kernel_symbols.h"

#include <algorithm>
#include <charconv>

#include "host/base/text.h"

namespace host::record {

namespace {

bool takeHexadecimal(std::string_view& text, std::uint64_t& number) {
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
    if (error != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    return true;
}

}  // namespace

KernelSymbols::KernelSymbols(std::string_view lines) {
    std::string_view line;
    while (base::takeLine(lines, line)) {
        std::uint64_t address = 0;
        if (!takeHexadecimal(line, address) || line.size() < 4 || address == 0) continue;
        const char type = line[1];
        if (type != 't' && type != 'T' && type != 'w' && type != 'W') continue;
        const std::string_view name = line.substr(3);
        m_symbols.emplace_back(address, static_cast<std::uint32_t>(m_names.size()));
        m_names.append(name.substr(0, name.find('\t'))).push_back('\0');
    }
    // Of several names of one address the first counts.
    std::stable_sort(m_symbols.begin(), m_symbols.end(),
                     [](const auto& one, const auto& other) { return one.first < other.first; });
}

std::string KernelSymbols::find(std::uint64_t address) const {
    const auto found =
        std::lower_bound(m_symbols.begin(), m_symbols.end(), address,
                         [](const auto& symbol, std::uint64_t at) { return symbol.first < at; });
    if (found == m_symbols.end() || found->first != address) return {};
    return m_names.c_str() + found->second;
}

std::vector<std::pair<std::uint64_t, std::string>> readKernelTexts(std::string_view lines) {
    std::vector<std::pair<std::uint64_t, std::string>> texts;
    std::string_view line;
    while (base::takeLine(lines, line)) {
        std::uint64_t address = 0;
        if (!line.starts_with("0x")) continue;
        line.remove_prefix(2);
        if (!takeHexadecimal(line, address) || !line.starts_with(" : \"") || !line.ends_with('"')) continue;
        texts.emplace_back(address, line.substr(4, line.size() - 5));
    }
    return texts;
}

}  // namespace host::record
