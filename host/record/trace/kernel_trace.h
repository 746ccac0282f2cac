#pragma once

#include <unistd.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/base/descriptor.h"
#include "host/kernel_events/event.h"
#include "host/kernel_events/name_pool.h"
#include "host/kernel_events/raw_event.h"
#include "host/kernel_events/tally.h"
#include "host/record/trace/event_ring.h"
#include "host/record/trace/kernel_symbols.h"
#include "host/record/trace/trace_folder.h"
#include "host/record/trace/trace_sets.h"

namespace host::record {

// The events of the running kernel, in a ring for each CPU. Nothing of the kernel's own buffers is used or
// changed.
class KernelTrace {
public:
    using Warn = std::function<void(const std::string&)>;
    using Sink = std::function<void(const kernel_events::Event&)>;

    // `names` and `tally` outlive this object.
    KernelTrace(kernel_events::NamePool& names, kernel_events::Tally& tally)
        : m_names(names), m_tally(tally) {}
    KernelTrace(const KernelTrace&) = delete;
    KernelTrace& operator=(const KernelTrace&) = delete;

    // Finds the events and opens them on these CPUs, still off. What is missing is reported, a line for each
    // thing; the rest is opened. False if that is nothing.
    bool open(const TraceOptions& options, const std::vector<unsigned>& cpus, const Warn& warn);

    void enable() const;
    void disable() const;

    // Gives the rings back.
    void close() { m_rings.clear(); }

    // Whether an event of this name is traced.
    bool has(const std::string& event) const;

    // Becomes readable when a ring is half full.
    int descriptor() const { return m_wake.get(); }

    // Takes what is in a ring, in its order; a loss stands before the first event after it. Records are
    // counted; one that can't be read is malformed.
    std::size_t rings() const { return m_rings.size(); }
    void drain(std::size_t ring, const Sink& sink);

    // Takes losses that no event came after, as of `stamp`. To be called when the trace is off and drained.
    void drainLosses(std::uint64_t stamp, const Sink& sink);

    // What lies outside of this time is left out, and not counted.
    void limit(std::uint64_t from, std::uint64_t until) {
        m_from = from;
        m_until = until;
    }

    // The number that the kernel itself knows this process by, once it was seen.
    std::optional<std::int64_t> ownPid() const { return m_ownPid; }

private:
    struct Known {
        kernel_events::RawEventReader reader;
        std::string name;
        std::size_t place;  // in the tally
    };
    // The thread that runs on a CPU, as far as is known.
    struct Current {
        std::int64_t pid = -1;
        kernel_events::NameId comm = 0;
        std::uint64_t loss = 0;  // that no event was made of
    };

    std::optional<std::uint64_t> find_i(const TraceFolder& folder, const TraceEvent& event, const Warn& warn);
    bool openRings_i(const std::vector<std::pair<std::uint64_t, std::string>>& events, std::size_t bytes,
                     const std::vector<unsigned>& cpus, const Warn& warn);
    void readNames_i(const TraceFolder& folder, const Warn& warn);
    bool watch_i();
    void take_i(unsigned cpu, Current& current, const TracepointSample& sample, const Sink& sink);
    void nameThread_i(Current& current, const TracepointSample& sample, kernel_events::Event& event);
    void giveLoss_i(unsigned cpu, Current& current, std::uint64_t stamp, const Sink& sink);

    kernel_events::NamePool& m_names;
    kernel_events::Tally& m_tally;
    std::vector<EventRing> m_rings;
    std::vector<Current> m_current;  // by ring
    base::Descriptor m_wake;
    std::unordered_map<std::uint64_t, Known> m_known;  // by number
    std::optional<KernelSymbols> m_symbols;
    std::unordered_map<std::uint64_t, std::string> m_texts;
    kernel_events::AddressNames m_functions{m_names, [this](std::uint64_t address) {
                                                return m_symbols ? m_symbols->find(address) : std::string();
                                            }};
    kernel_events::AddressNames m_textNames{m_names, [this](std::uint64_t address) {
                                                const auto found = m_texts.find(address);
                                                return found != m_texts.end() ? found->second : std::string();
                                            }};
    const pid_t m_self = ::getpid();
    std::optional<std::int64_t> m_ownPid;
    std::uint64_t m_from = 0;
    std::uint64_t m_until = ~std::uint64_t{0};
};

}  // namespace host::record
