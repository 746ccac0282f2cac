#include "host/record/trace/kernel_trace.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

#include "host/base/transfer.h"
#include "host/record/trace/thread_name.h"

namespace host::record {

namespace {

using kernel_events::Event;
using kernel_events::Kind;

// Why no event can be opened, whichever it is; empty if it is this one's.
std::string generalReason(int reason) {
    if (reason == EACCES || reason == EPERM)
        return "kernel events may not be traced: CAP_PERFMON is missing (or run as root)";
    if (reason == ENOSYS) return "this kernel has no performance events";
    if (reason == EMFILE || reason == ENFILE)
        return std::string("not all events can be opened: ") + std::strerror(reason);
    if (reason == ENOMEM) return "there is not the memory for --trace-buffer on each CPU";
    return {};
}

std::size_t ringBytes(std::uint64_t kib) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return std::max(std::bit_ceil(static_cast<std::size_t>(kib) * 1024), page);
}

}  // namespace

bool KernelTrace::open(const TraceOptions& options, const std::vector<unsigned>& cpus, const Warn& warn) {
    const TraceFolder folder;
    if (!folder.isOpen()) return warn("trace: " + folder.error()), false;
    std::vector<std::pair<std::uint64_t, std::string>> events;
    for (const TraceEvent& event : options.events())
        if (const auto number = find_i(folder, event, warn)) events.emplace_back(*number, event.text());
    if (events.empty() || !openRings_i(events, ringBytes(options.bufferKib), cpus, warn)) return false;
    readNames_i(folder, warn);
    return watch_i();
}

std::optional<std::uint64_t> KernelTrace::find_i(const TraceFolder& folder, const TraceEvent& event,
                                                 const Warn& warn) {
    const auto text = folder.text(std::string("events/") + event.group + "/" + event.name + "/format");
    if (!text) {
        const int reason = errno;
        warn(reason == ENOENT
                 ? "trace: this kernel has no event " + event.text()
                 : "trace: the format of " + event.text() + " can't be read: " + std::strerror(reason));
        return std::nullopt;
    }
    std::string missing;
    const auto format = kernel_events::RawFormat::parse(*text);
    const auto reader = format ? kernel_events::RawEventReader::make(*format, missing) : std::nullopt;
    if (!reader) {
        warn("trace: " + event.text() + " of this kernel has no field " + missing);
        return std::nullopt;
    }
    m_known.insert({format->id, Known{*reader, event.name, m_tally.place(event.name)}});
    return format->id;
}

bool KernelTrace::openRings_i(const std::vector<std::pair<std::uint64_t, std::string>>& events,
                              std::size_t bytes, const std::vector<unsigned>& cpus, const Warn& warn) {
    std::vector<std::string> warned;
    std::size_t smallest = bytes;
    for (const unsigned cpu : cpus) {
        EventRing ring(cpu);
        for (const auto& [number, name] : events) {
            const int reason = ring.add(number, bytes);
            if (reason == 0 || reason == ENODEV) continue;  // a CPU that has just gone offline
            std::string text = generalReason(reason);
            const bool isGeneral = !text.empty();
            if (!isGeneral) text = name + " can't be traced: " + std::strerror(reason);
            if (std::find(warned.begin(), warned.end(), text) == warned.end())
                warn("trace: " + warned.emplace_back(std::move(text)));
            if (isGeneral) break;
        }
        if (!ring.isOpen()) continue;
        smallest = std::min(smallest, ring.size());
        m_rings.push_back(std::move(ring));
    }
    if (smallest < bytes)
        warn("trace: the buffer of each CPU is " + std::to_string(smallest / 1024) +
             " KiB, as no more may be locked (CAP_IPC_LOCK is missing, or a higher limit of locked memory)");
    m_current.resize(m_rings.size());
    return !m_rings.empty();
}

void KernelTrace::readNames_i(const TraceFolder& folder, const Warn& warn) {
    if (has("suspend_resume"))
        for (auto& [address, text] : readKernelTexts(folder.text("printk_formats").value_or("")))
            m_texts.insert_or_assign(address, std::move(text));
    if (!has("hrtimer_expire_entry") && !has("timer_expire_entry")) return;
    m_symbols.emplace(base::fileText("/proc/kallsyms"));
    if (m_symbols->isEmpty())
        warn(
            "trace: functions of timers are shown by address, as /proc/kallsyms tells none "
            "(CAP_SYSLOG is missing)");
}

bool KernelTrace::watch_i() {
    m_wake = base::Descriptor(::epoll_create1(EPOLL_CLOEXEC));
    for (const EventRing& ring : m_rings) {
        epoll_event event{.events = EPOLLIN, .data = {.fd = ring.descriptor()}};
        ::epoll_ctl(m_wake.get(), EPOLL_CTL_ADD, ring.descriptor(), &event);
    }
    return true;
}

bool KernelTrace::has(const std::string& event) const {
    return std::any_of(m_known.begin(), m_known.end(),
                       [&](const auto& known) { return known.second.name == event; });
}

void KernelTrace::enable() const {
    for (const EventRing& ring : m_rings) ring.enable();
}

void KernelTrace::disable() const {
    for (const EventRing& ring : m_rings) ring.disable();
}

void KernelTrace::drain(std::size_t number, const Sink& sink) {
    EventRing& ring = m_rings[number];
    Current& current = m_current[number];
    ring.drain([&](const TracepointSample& sample) { take_i(ring.cpu(), current, sample, sink); },
               [&](std::uint64_t count) { current.loss += count; });
}

void KernelTrace::drainLosses(std::uint64_t stamp, const Sink& sink) {
    for (std::size_t i = 0; i < m_rings.size(); ++i) {
        m_current[i].loss += m_rings[i].unreportedLoss();
        giveLoss_i(m_rings[i].cpu(), m_current[i], stamp, sink);
    }
}

void KernelTrace::giveLoss_i(unsigned cpu, Current& current, std::uint64_t stamp, const Sink& sink) {
    if (current.loss == 0) return;
    Event event;
    event.kind = Kind::Loss;
    event.stamp = stamp;
    event.cpu = cpu;
    event.a = static_cast<std::int64_t>(current.loss);
    current = {};
    sink(event);
}

void KernelTrace::take_i(unsigned cpu, Current& current, const TracepointSample& sample, const Sink& sink) {
    if (sample.stamp < m_from || sample.stamp > m_until) return;
    giveLoss_i(cpu, current, sample.stamp, sink);
    ++m_tally.lines;
    const auto known = m_known.find(kernel_events::eventNumber(sample.bytes));
    Event event;
    event.stamp = sample.stamp;
    event.cpu = cpu;
    if (known == m_known.end() ||
        !known->second.reader.read(sample.bytes, m_names, m_functions, m_textNames, event)) {
        ++m_tally.malformed;
        return;
    }
    m_tally.countMapped(known->second.place);
    nameThread_i(current, sample, event);
    sink(event);
}

// Names of threads stand in switches; what is traced before the first one is looked up.
void KernelTrace::nameThread_i(Current& current, const TracepointSample& sample, Event& event) {
    const bool isKnownHere = sample.tid == static_cast<std::uint64_t>(event.pid);
    if (static_cast<pid_t>(sample.tid) == m_self) m_ownPid = event.pid;
    if (event.pid != current.pid) {
        current.pid = event.pid;
        const bool hasName = isKnownHere && event.pid != kernel_events::IDLE_PID;
        current.comm = m_names.get(hasName ? threadName(event.pid) : "<...>");
    }
    event.comm = current.comm;
    if (event.kind == Kind::ProcessExec && event.a == current.pid) current.comm = event.name;
    if (event.kind != Kind::SchedSwitch) return;
    if (isKnownHere) event.subject = sample.pid;
    current.pid = event.b;
    current.comm = event.other;
}

}  // namespace host::record
