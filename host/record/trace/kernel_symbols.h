#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace host::record {

// Names of the kernel's functions by their addresses.
class KernelSymbols {
public:
    // Reads the lines of /proc/kallsyms: address, type, name.
    explicit KernelSymbols(std::string_view lines);

    // The function that begins there; empty if none is known.
    std::string find(std::uint64_t address) const;

    // Nothing is known where the kernel shows its addresses to nobody.
    bool isEmpty() const { return m_symbols.empty(); }

private:
    std::string m_names;                                             // each ends in a zero byte
    std::vector<std::pair<std::uint64_t, std::uint32_t>> m_symbols;  // address, place of the name
};

// Texts by their addresses, from the lines of tracefs' printk_formats: address, " : ", text in quotes.
std::vector<std::pair<std::uint64_t, std::string>> readKernelTexts(std::string_view lines);

}  // namespace host::record
