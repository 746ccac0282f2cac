// What the process that reads a trace.dat sends to the one that asked for it, through a pipe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/kernel_events/event.h"
#include "host/kernel_events/name_pool.h"

namespace host::importers {

enum class TracedatResult : std::uint8_t {
    Mapped,
    Unknown,
    Bad,        // its fields cannot be read
    ClockSync,  // `a` are milliseconds since 1970
    Loss        // not a record: `a` records are missing before the next one
};

// A record of the trace. Names are those of the sender, in the order in which it sent them.
struct TracedatRecord {
    kernel_events::Event event;
    std::uint64_t offset = 0;        // in the file
    kernel_events::NameId name = 0;  // of the event; 0: it is not known
    TracedatResult result = TracedatResult::Mapped;
};

enum class TracedatFrame : std::uint32_t {
    Names,    // so many texts, each after its length, a number of 32 bits
    Records,  // so many records
    Cpus,     // the trace is of so many CPUs
    Failure,  // a text of that length: why nothing follows any more
    End
};

struct TracedatHead {
    TracedatFrame frame;
    std::uint32_t count;
};

// Sends. What can't be sent, because nobody listens any more, ends the process.
class TracedatSender {
public:
    explicit TracedatSender(int pipe) : m_pipe(pipe) {}

    kernel_events::NamePool& names() { return m_names; }

    // Adds a record, to be filled before the next call. Many are sent together.
    TracedatRecord& add() {
        if (m_records.size() == TOGETHER) flush();
        return m_records.emplace_back();
    }
    void flush();

    void send(TracedatFrame frame, std::uint32_t count);
    void fail(std::string_view text);

private:
    static constexpr std::size_t TOGETHER = 1024;

    void sendNames_i();
    void write_i(const void* bytes, std::size_t size) const;

    int m_pipe;
    kernel_events::NamePool m_names;
    std::size_t m_sentNames = 1;  // both sides have the empty one
    std::vector<TracedatRecord> m_records;
    std::string m_bytes;
};

// The same at the other end.
class TracedatReceiver {
public:
    // `names` outlives this object.
    TracedatReceiver(int pipe, kernel_events::NamePool& names) : m_pipe(pipe), m_names(names) {}

    // Waits for the next frame and takes it. False if the pipe has ended.
    bool next(TracedatHead& head);

    // Of a frame Records, with names of this side.
    std::vector<TracedatRecord>& records() { return m_records; }

    // Of a frame Failure.
    const std::string& text() const { return m_text; }

private:
    static constexpr std::uint32_t MOST_TOGETHER = 1 << 24;

    bool read_i(void* bytes, std::size_t size) const;
    bool readName_i();
    void translate_i(kernel_events::NameId& name) const;

    int m_pipe;
    kernel_events::NamePool& m_names;
    std::vector<kernel_events::NameId> m_ids{0};  // by the sender's
    std::vector<TracedatRecord> m_records;
    std::string m_text;
};

}  // namespace host::importers
