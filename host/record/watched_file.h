// A file of a source that may fail while the collection goes on.
#pragma once

#include <optional>
#include <string>

#include "host/record/source.h"

namespace host::record {

// Reads as SampleFile does. A failure is told once and drops the file; but the file of a CPU that went
// offline is taken up again, silently, when the CPU is back.
class WatchedFile {
public:
    WatchedFile(const SourceContext& context, const std::string& path, std::optional<unsigned> cpu = {});

    // Whether the file could be read when the source looked for it.
    bool isReadable() const { return m_readable; }

    bool readUnsigned(std::uint64_t& value);
    bool readSigned(std::int64_t& value);

    // The text without blanks at its ends, in `buffer`.
    bool readText(std::string_view& text, std::vector<char>& buffer);

private:
    template <typename Read>
    bool read_i(Read read);
    void fail_i();

    const SourceContext* m_context;
    SampleFile m_file;
    std::optional<unsigned> m_cpu;
    bool m_readable = false;
    bool m_dropped = false;
    bool m_failing = false;  // the last read failed
};

}  // namespace host::record
