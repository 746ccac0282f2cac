#include "export/perfetto/trace_file.h"

#include "export/clean_text.h"
#include "export/perfetto/wire.h"

namespace exporting {

using namespace wire;

namespace {

// Names are forgotten beyond so many, so that hostile ones don't fill the memory of writer and reader.
constexpr std::size_t MOST_NAMES = 65536;
constexpr std::size_t MOST_NAME_BYTES = std::size_t{4} << 20;

constexpr std::uint32_t SEQUENCE = 1;
constexpr std::uint32_t CLEARS_STATE = 1;
constexpr std::uint32_t NEEDS_STATE = 2;
constexpr std::uint32_t BOOTTIME = 6;
constexpr std::uint32_t REALTIME = 1;

namespace trace {
constexpr std::uint32_t PACKET = 1;
}
namespace packet {
constexpr std::uint32_t CLOCK_SNAPSHOT = 6, TIMESTAMP = 8, SEQUENCE_ID = 10, TRACK_EVENT = 11,
                        INTERNED_DATA = 12, SEQUENCE_FLAGS = 13, TRACK_DESCRIPTOR = 60;
}
namespace descriptor {
constexpr std::uint32_t UUID = 1, NAME = 2, PROCESS = 3, THREAD = 4, PARENT = 5, COUNTER = 8,
                        CHILD_ORDERING = 11, RANK = 12, MERGING = 15;
constexpr std::uint32_t BY_RANK = 3, NEVER_MERGED = 2;
constexpr std::uint32_t PROCESS_PID = 1, PROCESS_CMDLINE = 2, PROCESS_NAME = 6;
constexpr std::uint32_t THREAD_PID = 1, THREAD_TID = 2, THREAD_NAME = 5;
constexpr std::uint32_t UNIT_NAME = 6, AXIS_KEY = 7;
}  // namespace descriptor
namespace event {
constexpr std::uint32_t TYPE = 9, TRACK = 11, NAME_IID = 10, COUNTER = 30, REAL_COUNTER = 44, EXTRA = 12,
                        EXTRA_TRACKS = 31, EXTRA_REAL = 46, EXTRA_REAL_TRACKS = 45, ANNOTATION = 4;
constexpr std::uint32_t BEGIN = 1, END = 2, INSTANT = 3, COUNTS = 4;
constexpr std::uint32_t ANNOTATION_NAME = 10, UNSIGNED = 3, SIGNED = 4, REAL = 5, TEXT = 6;
}  // namespace event
namespace interned {
constexpr std::uint32_t EVENT_NAMES = 2, IID = 1, NAME = 2;
}
namespace clock {
constexpr std::uint32_t READING = 1, ID = 1, TIME = 2;
}

void appendReading(std::string& out, std::uint32_t id, std::uint64_t time) {
    std::string reading;
    appendUnsigned(reading, clock::ID, id);
    appendUnsigned(reading, clock::TIME, time);
    appendBytes(out, clock::READING, reading);
}

void appendProcess(std::string& out, const Track& track) {
    std::string process;
    appendSigned(process, descriptor::PROCESS_PID, track.pid);
    if (!track.path.empty()) appendBytes(process, descriptor::PROCESS_CMDLINE, track.path);
    appendBytes(process, descriptor::PROCESS_NAME, track.name);
    appendBytes(out, descriptor::PROCESS, process);
}

void appendThread(std::string& out, const Track& track) {
    std::string thread;
    appendSigned(thread, descriptor::THREAD_PID, track.pid);
    appendSigned(thread, descriptor::THREAD_TID, track.tid);
    appendBytes(thread, descriptor::THREAD_NAME, track.name);
    appendBytes(out, descriptor::THREAD, thread);
}

void appendCounter(std::string& out, const Track& track) {
    std::string counter;
    if (!track.unit.empty()) appendBytes(counter, descriptor::UNIT_NAME, track.unit);
    if (!track.axis.empty()) appendBytes(counter, descriptor::AXIS_KEY, track.axis);
    appendBytes(out, descriptor::COUNTER, counter);
}

}  // namespace

Track::Track(std::uint64_t anUuid, Kind aKind, Track* aParent, std::string aName)
    : uuid(anUuid),
      kind(aKind),
      parent(aParent),
      name(std::move(aName)),
      rank(aParent != nullptr ? aParent->children++ : 0) {}

void TraceFile::begin(const std::string& path, std::uint64_t origin, std::uint64_t wall) {
    m_out.open(path);
    ++m_file;
    m_interned.clear();
    forgetNames_i();
    if (wall == 0) return;
    std::string snapshot;
    appendReading(snapshot, BOOTTIME, origin);
    appendReading(snapshot, REALTIME, wall);
    m_packet.clear();
    appendBytes(m_packet, packet::CLOCK_SNAPSHOT, snapshot);
    appendUnsigned(m_packet, packet::SEQUENCE_ID, SEQUENCE);
    writePacket_i();
}

void TraceFile::forgetNames_i() {
    m_names.clear();
    m_nameBytes = 0;
    m_packet.clear();
    appendUnsigned(m_packet, packet::SEQUENCE_ID, SEQUENCE);
    appendUnsigned(m_packet, packet::SEQUENCE_FLAGS, CLEARS_STATE);
    writePacket_i();
}

std::uint64_t TraceFile::intern_i(std::string_view name) {
    if (m_names.size() >= MOST_NAMES || m_nameBytes > MOST_NAME_BYTES) forgetNames_i();
    std::string text(name);
    if (const auto known = m_names.find(text); known != m_names.end()) return known->second;
    const std::uint64_t number = m_names.size() + 1;
    m_nested.clear();
    appendUnsigned(m_nested, interned::IID, number);
    appendBytes(m_nested, interned::NAME, cleanText(name, m_scratch));
    // Room first: a name that has a number must come into the file.
    m_interned.reserve(m_interned.size() + m_nested.size() + 16);
    m_names.emplace(std::move(text), number);
    m_nameBytes += name.size();
    appendBytes(m_interned, interned::EVENT_NAMES, m_nested);
    return number;
}

void TraceFile::describe_i(Track& track) {
    if (track.file == m_file) return;
    if (track.parent != nullptr) describe_i(*track.parent);
    std::string text;
    appendUnsigned(text, descriptor::UUID, track.uuid);
    if (track.kind == Track::Kind::Process) {
        appendProcess(text, track);
    } else if (track.kind == Track::Kind::Thread) {
        appendThread(text, track);
    } else {
        if (track.parent != nullptr) {
            appendUnsigned(text, descriptor::PARENT, track.parent->uuid);
            appendUnsigned(text, descriptor::RANK, track.rank);
        }
        appendBytes(text, descriptor::NAME, track.name);
        if (track.kind == Track::Kind::Counter) appendCounter(text, track);
        appendUnsigned(text, descriptor::CHILD_ORDERING, descriptor::BY_RANK);
        appendUnsigned(text, descriptor::MERGING, descriptor::NEVER_MERGED);
    }
    m_packet.clear();
    appendBytes(m_packet, packet::TRACK_DESCRIPTOR, text);
    appendUnsigned(m_packet, packet::SEQUENCE_ID, SEQUENCE);
    writePacket_i();
    track.file = m_file;
}

void TraceFile::counters(std::uint64_t time, std::span<const CounterValue> values) {
    for (const CounterValue& value : values) describe_i(*value.track);
    m_event.clear();
    appendUnsigned(m_event, event::TYPE, event::COUNTS);
    bool isFirst = true;
    for (const CounterValue& value : values) {
        const std::uint32_t tracks = isFirst         ? event::TRACK
                                     : value.isWhole ? event::EXTRA_TRACKS
                                                     : event::EXTRA_REAL_TRACKS;
        appendUnsigned(m_event, tracks, value.track->uuid);
        if (value.isWhole)
            appendSigned(m_event, isFirst ? event::COUNTER : event::EXTRA, value.whole);
        else
            appendReal(m_event, isFirst ? event::REAL_COUNTER : event::EXTRA_REAL, value.real);
        isFirst = false;
    }
    writeEvent_i(time);
}

void TraceFile::sliceEdge_i(Track& track, std::uint64_t time, std::uint32_t type, std::string_view name) {
    m_event.clear();
    appendUnsigned(m_event, event::TYPE, type);
    appendUnsigned(m_event, event::TRACK, track.uuid);
    if (type == event::BEGIN) appendUnsigned(m_event, event::NAME_IID, intern_i(name));
    writeEvent_i(time);
}

void TraceFile::slice(Track& track, std::uint64_t begin, std::uint64_t end, std::string_view name) {
    describe_i(track);
    sliceEdge_i(track, begin, event::BEGIN, name);
    sliceEdge_i(track, end, event::END, {});
}

void TraceFile::instant(Track& track, std::uint64_t time, std::string_view name, const Annotation& value) {
    describe_i(track);
    m_event.clear();
    appendUnsigned(m_event, event::TYPE, event::INSTANT);
    appendUnsigned(m_event, event::TRACK, track.uuid);
    appendUnsigned(m_event, event::NAME_IID, intern_i(name));
    if (value.kind != Annotation::Kind::None) {
        m_nested.clear();
        appendBytes(m_nested, event::ANNOTATION_NAME, "value");
        if (value.kind == Annotation::Kind::Signed) appendSigned(m_nested, event::SIGNED, value.signedValue);
        if (value.kind == Annotation::Kind::Unsigned)
            appendUnsigned(m_nested, event::UNSIGNED, value.unsignedValue);
        if (value.kind == Annotation::Kind::Real) appendReal(m_nested, event::REAL, value.real);
        if (value.kind == Annotation::Kind::Text)
            appendBytes(m_nested, event::TEXT, cleanText(value.text, m_scratch));
        appendBytes(m_event, event::ANNOTATION, m_nested);
    }
    writeEvent_i(time);
}

void TraceFile::writeEvent_i(std::uint64_t time) {
    m_packet.clear();
    appendUnsigned(m_packet, packet::TIMESTAMP, time);
    appendUnsigned(m_packet, packet::SEQUENCE_ID, SEQUENCE);
    appendUnsigned(m_packet, packet::SEQUENCE_FLAGS, NEEDS_STATE);
    if (!m_interned.empty()) appendBytes(m_packet, packet::INTERNED_DATA, m_interned);
    m_interned.clear();
    appendBytes(m_packet, packet::TRACK_EVENT, m_event);
    writePacket_i();
}

void TraceFile::writePacket_i() {
    m_nested.clear();
    appendKey(m_nested, trace::PACKET, BYTES);
    appendVarint(m_nested, m_packet.size());
    m_out.append(m_nested);
    m_out.append(m_packet);
    m_out.endRecord();
}

}  // namespace exporting
