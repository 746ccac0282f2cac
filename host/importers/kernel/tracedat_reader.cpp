#include "host/importers/kernel/tracedat_reader.h"

#include "host/importers/kernel/tracedat_frames.h"

#ifdef PWR_TRACEDAT

#include <dlfcn.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>

// trace-cmd.h includes this header, which is not C++, and needs nothing of it.
#define _TRACE_FS_H  // NOLINT(bugprone-reserved-identifier): the header's own guard
#include <trace-cmd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "host/importers/kernel/ftrace_fields.h"
#include "host/kernel_events/raw_event.h"

namespace host::importers {

namespace {

using kernel_events::Event;
using kernel_events::NameId;
using kernel_events::RawEventReader;
using kernel_events::RawField;

// A damaged file can lead to no end; one that goes on is given more time.
void allowSeconds(rlim_t seconds) {
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    const rlimit limit{static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) + seconds,
                       RLIM_INFINITY};
    ::setrlimit(RLIMIT_CPU, &limit);
}

RawField::Form formOf(const tep_format_field& field) {
    if ((field.flags & TEP_FIELD_IS_DYNAMIC) != 0)
        return (field.flags & TEP_FIELD_IS_RELATIVE) != 0 ? RawField::Form::FollowingText
                                                          : RawField::Form::MovedText;
    const bool isText = (field.flags & TEP_FIELD_IS_ARRAY) != 0 && (field.flags & TEP_FIELD_IS_STRING) != 0;
    return isText ? RawField::Form::Text : RawField::Form::Number;
}

void addFields(const tep_format_field* field, kernel_events::RawFormat& format) {
    for (; field != nullptr; field = field->next)
        format.fields.push_back({field->name, formOf(*field), static_cast<std::size_t>(field->offset),
                                 static_cast<std::size_t>(field->size),
                                 (field->flags & TEP_FIELD_IS_SIGNED) != 0});
}

// libtracecmd, in this process alone: it sets the seed of rand() when it is loaded, which writers draw from.
struct Library {
    decltype(&::tracecmd_set_loglevel) setLogLevel = nullptr;
    decltype(&::tracecmd_open) open = nullptr;
    decltype(&::tracecmd_get_tep) formats = nullptr;
    decltype(&::tracecmd_buffer_instances) buffers = nullptr;
    decltype(&::tracecmd_buffer_instance_handle) buffer = nullptr;
    decltype(&::tracecmd_read_data) read = nullptr;
    decltype(&::tracecmd_free_record) free = nullptr;

    bool load() {
        void* const library = ::dlopen("libtracecmd.so.1", RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) return false;
        bool isWhole = true;
        const auto find = [&](auto& function, const char* name) {
            function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(::dlsym(library, name));
            isWhole = isWhole && function != nullptr;
        };
        find(setLogLevel, "tracecmd_set_loglevel");
        find(open, "tracecmd_open");
        find(formats, "tracecmd_get_tep");
        find(buffers, "tracecmd_buffer_instances");
        find(buffer, "tracecmd_buffer_instance_handle");
        find(read, "tracecmd_read_data");
        find(free, "tracecmd_free_record");
        return isWhole;
    }
};

// The library maps as much of the file as it can, and keeps what it has read. What lies after the record
// that is read is not looked at again, so the kernel may have it back.
class ReadMemory {
public:
    void take(const tep_record& record) {
        constexpr std::uintptr_t MUCH = 1 << 16;
        constexpr std::uintptr_t PAGE = 4096;
        const auto at = reinterpret_cast<std::uintptr_t>(record.data);
        // Another piece of the file, or another place for it.
        if (at - record.offset != m_base || at < m_begin) {
            m_base = at - record.offset;
            m_begin = at;
        }
        if (at - m_begin < MUCH) return;
        const std::uintptr_t begin = (m_begin + PAGE - 1) / PAGE * PAGE;
        const std::uintptr_t end = at / PAGE * PAGE;
        // NOLINTNEXTLINE(performance-no-int-to-ptr): pages are found by their numbers
        ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
        m_begin = end;
    }

private:
    std::uintptr_t m_base = 0;   // where the file would begin
    std::uintptr_t m_begin = 0;  // of what has not been given back
};

// The records of a CPU in one of the file's buffers, of which the next one is at hand.
struct Stretch {
    tracecmd_input* buffer;
    int cpu;
    tep_record* next;
    ReadMemory memory{};
};

class TracedatReader {
public:
    TracedatReader(std::uint64_t end, int pipe) : m_end(end), m_sender(pipe) {}

    void read(const std::string& path) {
        if (!m_library.load())
            return m_sender.fail("libtracecmd.so.1, which reads trace.dat, can't be loaded");
        m_library.setLogLevel(TEP_LOG_NONE);
        tep_set_loglevel(TEP_LOG_NONE);
        allowSeconds(SECONDS);
        if (!open_i(path))
            return m_sender.fail(
                "libtracecmd can't read this file; if it was cut, it ends before the first event");
        m_tep = m_library.formats(m_file);
        m_isNative = tep_is_file_bigendian(m_tep) == tep_is_local_bigendian(m_tep);
        m_sender.send(TracedatFrame::Cpus, static_cast<std::uint32_t>(std::max(tep_get_cpus(m_tep), 0)));
        addStretches_i(m_file);
        for (int i = 0; i < m_library.buffers(m_file); ++i)
            if (tracecmd_input* const buffer = m_library.buffer(m_file, i)) addStretches_i(buffer);
        for (Stretch& stretch : m_stretches)
            if (stretch.next != nullptr) m_queue.push_back(&stretch);
        std::make_heap(m_queue.begin(), m_queue.end(), isLater_i);
        for (; !m_queue.empty(); settle_i()) take_i(*m_queue.front());
        m_sender.flush();
        m_sender.send(TracedatFrame::End, 0);
    }

private:
    static constexpr rlim_t SECONDS = 10;
    static constexpr std::size_t OFTEN = 65536;  // records

    // What is known of the events of a number.
    struct Known {
        NameId name = 0;
        tep_event* event = nullptr;
        std::optional<RawEventReader> raw;
        std::optional<RawField> mark;  // what programs have written
        FieldsReader text = nullptr;
    };

    bool open_i(const std::string& path) {
        m_file = m_library.open(path.c_str(), TRACECMD_FL_LOAD_NO_PLUGINS);
        return m_file != nullptr;
    }

    void addStretches_i(tracecmd_input* buffer) {
        const int cpus = tep_get_cpus(m_library.formats(buffer));
        for (int cpu = 0; cpu < cpus; ++cpu)
            m_stretches.push_back({.buffer = buffer, .cpu = cpu, .next = next_i(buffer, cpu)});
    }

    tep_record* next_i(tracecmd_input* buffer, int cpu) const {
        tep_record* const record = m_library.read(buffer, cpu);
        if (record == nullptr || record->offset + static_cast<std::uint64_t>(record->record_size) <= m_end)
            return record;
        m_library.free(record);
        return nullptr;
    }

    // Of equal stamps that of the first stretch comes first.
    static bool isLater_i(const Stretch* one, const Stretch* other) {
        return one->next->ts != other->next->ts ? one->next->ts > other->next->ts : one > other;
    }

    // The first stretch has another record at hand, or none.
    void settle_i() {
        if (m_queue.front()->next == nullptr) {
            m_queue.front() = m_queue.back();
            m_queue.pop_back();
        }
        const std::size_t count = m_queue.size();
        for (std::size_t at = 0, child = 1; child < count; at = child, child = 2 * at + 1) {
            if (child + 1 < count && isLater_i(m_queue[child], m_queue[child + 1])) ++child;
            if (!isLater_i(m_queue[at], m_queue[child])) return;
            std::swap(m_queue[at], m_queue[child]);
        }
    }

    void take_i(Stretch& stretch) {
        tep_record* const record = stretch.next;
        if (record->missed_events != 0) {
            TracedatRecord& loss = add_i(*record);
            loss.result = TracedatResult::Loss;
            loss.event.kind = kernel_events::Kind::Loss;
            loss.event.a = std::max(record->missed_events, 1LL);  // below 0: it is not known how many
        }
        readRecord_i(*record, add_i(*record));
        stretch.memory.take(*record);
        if (++m_count % OFTEN == 0) allowSeconds(SECONDS);
        stretch.next = next_i(stretch.buffer, stretch.cpu);
        m_library.free(record);
    }

    TracedatRecord& add_i(const tep_record& record) {
        TracedatRecord& sent = m_sender.add();
        sent.event.stamp = record.ts;
        sent.event.cpu = static_cast<std::uint32_t>(record.cpu);
        sent.offset = record.offset;
        return sent;
    }

    void readRecord_i(tep_record& record, TracedatRecord& sent) {
        const Known& known = known_i(tep_data_type(m_tep, &record));
        const std::span<const char> bytes(static_cast<const char*>(record.data),
                                          static_cast<std::size_t>(std::max(record.size, 0)));
        Event& event = sent.event;
        sent.name = known.name;
        if (known.event == nullptr || event.cpu >= kernel_events::MOST_CPUS) {
            sent.result = TracedatResult::Bad;
            return;
        }
        FieldsResult result = FieldsResult::NotUsed;
        std::string_view mark;
        if (known.raw)
            result = known.raw->read(bytes, m_sender.names(), m_functions, m_functions, event)
                         ? FieldsResult::Read
                         : FieldsResult::Bad;
        else if (known.mark && known.mark->read(bytes, mark))
            result = known.text(mark.substr(0, mark.find('\n')), m_sender.names(), event);
        else if (known.text != nullptr)
            result = known.text(textOf_i(known, record), m_sender.names(), event);
        sent.result = result == FieldsResult::Bad         ? TracedatResult::Bad
                      : result == FieldsResult::NotUsed   ? TracedatResult::Unknown
                      : result == FieldsResult::ClockSync ? TracedatResult::ClockSync
                                                          : TracedatResult::Mapped;
        if (!known.raw) event.pid = tep_data_pid(m_tep, &record);
        if (kernel_events::namesItsThread(event.kind)) event.comm = comm_i(event.pid);
    }

    const Known& known_i(int number) {
        const auto place = static_cast<std::size_t>(number);
        if (place < m_places.size() && m_places[place] != nullptr) return *m_places[place];
        return learn_i(number);
    }

    const Known& learn_i(int number) {
        const auto [found, isNew] = m_known.try_emplace(number);
        Known& known = found->second;
        if (!isNew) return known;
        const auto place = static_cast<std::size_t>(number);
        if (place < m_places.size()) m_places[place] = &known;
        known.event = tep_find_event(m_tep, number);
        if (known.event == nullptr) return known;
        const std::string_view name = known.event->name;
        known.name = m_sender.names().get(name);
        known.text = fieldsReader(name);
        if (!m_isNative) return known;
        kernel_events::RawFormat format{std::string(name), static_cast<std::uint64_t>(number), {}};
        addFields(known.event->format.common_fields, format);
        addFields(known.event->format.fields, format);
        std::string missing;
        known.raw = RawEventReader::make(format, missing);
        // Texts that a field points at are known to the library alone.
        if (known.raw && known.raw->pointsAtText()) known.raw.reset();
        if (name != "print") return known;
        if (const RawField* const text = format.find("buf")) {
            known.mark = *text;
            known.text = fieldsReader("tracing_mark_write");
        }
        return known;
    }

    std::string_view textOf_i(const Known& known, tep_record& record) {
        trace_seq_reset(&m_text);
        tep_print_event(known.event->tep, &m_text, &record, "%s", TEP_PRINT_INFO);
        trace_seq_terminate(&m_text);
        return {m_text.buffer, m_text.len};
    }

    // The last name that is known of a thread.
    NameId comm_i(std::int64_t pid) {
        const auto [found, isNew] = m_comms.try_emplace(pid, 0);
        if (isNew) {
            const char* const comm = tep_data_comm_from_pid(m_tep, static_cast<int>(pid));
            found->second = m_sender.names().get(comm != nullptr ? comm : "<...>");
        }
        return found->second;
    }

    std::string functionAt_i(std::uint64_t address) {
        const char* const name = tep_find_function(m_tep, address);
        return name != nullptr ? name : "";
    }

    const std::uint64_t m_end;
    Library m_library;
    TracedatSender m_sender;
    tracecmd_input* m_file = nullptr;  // lives as long as the process
    tep_handle* m_tep = nullptr;
    bool m_isNative = true;
    std::vector<Stretch> m_stretches;
    std::vector<Stretch*> m_queue;  // a heap of those that have a record at hand, the earliest first
    std::unordered_map<int, Known> m_known;
    std::vector<const Known*> m_places{std::size_t{1} << 16};  // by number, of those that are small
    std::unordered_map<std::int64_t, NameId> m_comms;
    kernel_events::AddressNames m_functions{m_sender.names(),
                                            [this](std::uint64_t at) { return functionAt_i(at); }};
    trace_seq m_text = [] {
        trace_seq text;
        trace_seq_init(&text);
        return text;
    }();
    std::size_t m_count = 0;
};

}  // namespace

void readTracedat(const std::string& path, std::uint64_t end, int pipe) {
    TracedatReader(end, pipe).read(path);
}

}  // namespace host::importers

#else

namespace host::importers {

void readTracedat(const std::string&, std::uint64_t, int pipe) {
    TracedatSender(pipe).fail("this pwrhost was built without libtracecmd, which reads trace.dat");
}

}  // namespace host::importers

#endif
