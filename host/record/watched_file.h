// A file of a source that may fail while the collection goes on.
#pragma once

#include <optional>
#include <string>

#include "host/record/source.h"

namespace host::record {

// Reads as SampleFile does. One read that fails is nothing to speak of; after several in a row the file is
// dropped, which is reported. The file of a CPU that is offline is not read, and is opened anew when the CPU
// is back.
class WatchedFile {
public:
    WatchedFile(const SourceContext& context, const std::string& path, std::optional<unsigned> cpu = {});

    // Whether the file could be read when the source looked for it.
    bool isReadable() const { return m_readable; }

    // Whether it is there, but not for this user.
    bool isForbidden() const { return m_forbidden; }

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
    bool m_forbidden = false;
    bool m_dropped = false;
    bool m_wasOffline = false;
    int m_failures = 0;  // in a row
};

}  // namespace host::record
