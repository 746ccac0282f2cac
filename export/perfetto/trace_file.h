// A file of track events for Perfetto, written as it grows. The format is that of the public schema
// perfetto.protos.Trace; docs/formats/perfetto.md says which of it is used and how.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "export/result_file.h"

namespace exporting {

// A track: a row of the picture. Tracks live for the whole run; each file describes those that it uses.
struct Track {
    enum class Kind : std::uint8_t { Plain, Counter, Process, Thread };

    Track(std::uint64_t anUuid, Kind aKind, Track* aParent, std::string aName);

    std::uint64_t uuid;  // not 0
    Kind kind;
    Track* parent;  // null: at the top
    std::string name;
    std::uint32_t rank;          // among the children of the parent
    std::uint32_t children = 0;  // given ranks so far
    std::string unit;            // of a counter, shown as it is
    std::string axis;      // counters of one parent with the same axis are drawn with one range; may be empty
    std::int32_t pid = 0;  // of a process or thread
    std::int32_t tid = 0;  // of a thread
    std::string path;      // of a process
    std::uint32_t file = 0;     // the last file that describes it, 0 for none
    std::uint64_t lastEnd = 0;  // of the slices on it, nanoseconds
};

// A number as a counter shows it. Whole ones take less room.
struct CounterValue {
    Track* track;
    bool isWhole;
    std::int64_t whole;
    double real;
};

// What an instant carries beside its name.
struct Annotation {
    enum class Kind : std::uint8_t { None, Signed, Unsigned, Real, Text };

    Kind kind = Kind::None;
    std::int64_t signedValue = 0;
    std::uint64_t unsignedValue = 0;
    double real = 0.0;
    std::string_view text;
};

// Times are nanoseconds of the trace's clock, at most 2^63 - 1.
class TraceFile {
public:
    // Begins the file at `path`. With a `wall` clock (nanoseconds since 1970, 0 for none) `origin` is the
    // time in the trace at that instant.
    void begin(const std::string& path, std::uint64_t origin, std::uint64_t wall);

    // Puts everything out.
    void end() { m_out.close(); }

    bool isOpen() const { return m_out.isOpen(); }

    // Counters that change at the same time; there is at least one.
    void counters(std::uint64_t time, std::span<const CounterValue> values);

    // Slices on one track must follow each other.
    void slice(Track& track, std::uint64_t begin, std::uint64_t end, std::string_view name);

    void instant(Track& track, std::uint64_t time, std::string_view name, const Annotation& value);

private:
    void describe_i(Track& track);
    void sliceEdge_i(Track& track, std::uint64_t time, std::uint32_t type, std::string_view name);
    std::uint64_t intern_i(std::string_view name);
    void forgetNames_i();
    void writeEvent_i(std::uint64_t time);
    void writePacket_i();

    ResultFile m_out;
    std::uint32_t m_file = 0;  // counted from 1
    std::unordered_map<std::string, std::uint64_t> m_names;
    std::size_t m_nameBytes = 0;
    std::string m_interned;  // names that the next event brings along
    std::string m_event;
    std::string m_packet;
    std::string m_nested;
    std::string m_scratch;
};

}  // namespace exporting
