// Takes any bytes for a kernel's trace in text, for a table of turbostat and for what sadf prints. The lines
// of the first two are counted: each is one of four kinds.
#include <array>

#include "fuzz/importing.h"
#include "host/base/text.h"

namespace {

// "FILE: N lines: M mapped, U unknown, B malformed, O other, L lost".
void checkCounts(std::string_view text) {
    if (text.find(" lines: ") == std::string_view::npos) return;
    text.remove_prefix(text.find(": ") + 2);
    std::array<std::uint64_t, 5> counts{};
    for (std::uint64_t& count : counts) {
        if (!host::base::takeUnsigned(text, count)) std::abort();
        text.remove_prefix(std::min(text.size(), text.find_first_of("0123456789")));
    }
    if (counts[0] != counts[1] + counts[2] + counts[3] + counts[4]) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    for (const char* const name : {"ftrace", "turbostat", "sadf"})
        fuzz::import(*host::importers::findKind(name), bytes, checkCounts);
    host::model::Registry::reset();
    return 0;
}
