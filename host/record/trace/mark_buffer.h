#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/base/descriptor.h"
#include "host/kernel_events/event.h"
#include "host/kernel_events/name_pool.h"
#include "host/kernel_events/raw_format.h"
#include "host/kernel_events/tally.h"
#include "host/record/trace/trace_folder.h"

namespace host::record {

// What programs write into the kernel's trace, which is no event that performance events know. A buffer of
// the recording's own gets a copy of it; it goes when this object does.
class MarkBuffer {
public:
    using Warn = std::function<void(const std::string&)>;
    using Sink = std::function<void(const kernel_events::Event&)>;

    // `names` and `tally` outlive this object.
    MarkBuffer(kernel_events::NamePool& names, kernel_events::Tally& tally)
        : m_names(names), m_tally(tally) {}
    MarkBuffer(const MarkBuffer&) = delete;
    MarkBuffer& operator=(const MarkBuffer&) = delete;
    ~MarkBuffer() { close(); }

    // Makes the buffer, of so many KiB for each CPU. False if there can't be one, which is reported.
    bool open(const std::vector<unsigned>& cpus, std::uint64_t kib, const Warn& warn);

    // Takes what has come, each CPU's in its order, from `from` to `until`: nanoseconds of
    // CLOCK_MONOTONIC_RAW.
    void drain(std::uint64_t from, std::uint64_t until, const Sink& sink);

    void close();

    // Marks that the buffer had no room for.
    std::uint64_t lost() const { return m_lost; }

private:
    struct Cpu {
        unsigned number;
        base::Descriptor pages;
    };

    bool write_i(const char* file, const std::string& text) const;
    bool readFormat_i();
    bool make_i();
    bool prepare_i(std::uint64_t kib);
    void take_i(unsigned cpu, std::uint64_t stamp, std::span<const char> bytes, const Sink& sink);
    kernel_events::NameId nameOf_i(std::int64_t pid);

    kernel_events::NamePool& m_names;
    kernel_events::Tally& m_tally;
    std::optional<TraceFolder> m_folder;
    std::string m_path;          // of the buffer, in that folder; empty: there is none
    std::uint64_t m_number = 0;  // of the event that a mark is
    kernel_events::RawField m_pid;
    kernel_events::RawField m_text;
    std::vector<Cpu> m_cpus;
    std::vector<char> m_page;
    std::uint64_t m_lost = 0;
    std::unordered_map<std::int64_t, kernel_events::NameId> m_threads;  // names by pid
};

}  // namespace host::record
