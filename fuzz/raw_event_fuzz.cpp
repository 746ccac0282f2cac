// Reads bytes as events by formats that are bytes too: a format, a zero byte, an event.
#include <cstdint>
#include <string_view>

#include "host/kernel_events/raw_event.h"

using namespace host::kernel_events;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t end = input.find('\0');
    const auto format = RawFormat::parse(input.substr(0, end));
    if (!format || end == std::string_view::npos) return 0;
    const std::string_view bytes = input.substr(end + 1);
    std::string_view text;
    std::int64_t number = 0;
    for (const RawField& field : format->fields) {
        field.read(bytes, number);
        if (field.read(bytes, text) && (text.data() < bytes.data() || text.size() > bytes.size()))
            __builtin_trap();
    }
    std::string missing;
    const auto reader = RawEventReader::make(*format, missing);
    NamePool names;
    AddressNames addresses(names, [](std::uint64_t) { return ""; });
    Event event;
    if (reader && reader->read(bytes, names, addresses, addresses, event) && event.subject >= MOST_CPUS)
        __builtin_trap();
    return 0;
}
