#include "host/record/part.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "host/base/instant.h"
#include "host/base/text.h"
#include "host/emit/json_line.h"
#include "host/record/trace/trace_source.h"

namespace host::record {

namespace key = emit::key;
namespace message = emit::message;

namespace {

constexpr std::array<unsigned, 3> VERSION{1, 0, 0};

// So many does a record of the import format hold.
constexpr std::size_t MOST_ATTRIBUTES = 2048;

// Rings of the trace are emptied at least this often.
constexpr double MOST_TRACE_MS = 1000.0;

// The stream holds version numbers with the last part first, in fields of 8, 8 and 16 bits.
void addVersion(emit::JsonLine& line, const char* key, const std::array<unsigned, 3>& version) {
    line.key(key).beginList().value(std::min(version[2], 255U)).value(std::min(version[1], 255U));
    line.value(std::min(version[0], 65535U)).endList();
}

std::string shortestText(double number) {
    std::string text;
    base::appendNumber(text, number);
    return text;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) all += (all.empty() ? "" : ", ") + text;
    return all;
}

// The time stamp counter when the kernel started.
std::uint64_t bootTicks(const Root& root, std::uint64_t now, double ticksPerUsec) {
    const double uptime = std::strtod(root.text("proc/uptime").c_str(), nullptr);
    const double ticks = static_cast<double>(now) - uptime * 1e6 * ticksPerUsec;
    return uptime > 0 && ticks > 0 ? static_cast<std::uint64_t>(ticks) : 0;
}

}  // namespace

Part::Part(const RecordOptions& options, const Root& root, Clock& clock, const OwnState& own, Warn warn,
           bool isFirst)
    : m_options(options),
      m_root(root),
      m_clock(clock),
      m_own(own),
      m_warn(std::move(warn)),
      m_isFirst(isFirst),
      m_output([this](std::string_view line) {
          m_bytes += line.size() + 1;
          if (m_tee) m_tee(line);
          return m_spool.append(line);
      }),
      m_definitions(m_output),
      m_stat(root),
      m_devices(root) {}

Part::~Part() = default;

double Part::seconds_i(std::uint64_t ticks) const {
    return static_cast<double>(ticks) / m_clock.ticksPerUsec() / 1e6;
}

void Part::prepare() {
    const double ticksPerUsec = m_clock.ticksPerUsec();
    m_stat.update();
    m_machine = readMachine(m_root, ticksPerUsec);
    m_definitions.time();
    const emit::Id system = m_definitions.entity("System");
    m_cpus = std::make_unique<Cpus>(m_definitions, m_machine.topology);
    emit::Context emitting{m_definitions, m_output, ticksPerUsec, MOST_ATTRIBUTES};
    emitting.isWanted = [this](const std::string& metric) { return m_options.selection.wantsMetric(metric); };
    const auto note = [this](const std::string& text) {
        if (!m_options.isQuiet && (m_isFirst || m_samples > 0)) m_warn(text);
    };
    m_context = std::make_unique<SourceContext>(
        SourceContext{emitting, m_root, m_devices, *m_cpus, m_stat, system,
                      bootTicks(m_root, m_clock.ticks(), ticksPerUsec), m_options.top, m_own, m_warn, note});
    addSources_i();
}

void Part::addSources_i() {
    std::vector<std::string> wanted;
    std::set<std::string> present;
    std::set<std::string> forbidden;
    SourcePtr trace = makeTrace_i();
    for (const SourceInfo& info : sourceTable()) {
        if (!m_options.selection.wants(info)) continue;
        // The trace gives the same, and when it was.
        if (trace && m_options.trace.has(WAKEUP_SOURCES) && std::string_view(info.name) == "wakeup") continue;
        if (std::find(wanted.begin(), wanted.end(), info.name) == wanted.end())
            wanted.emplace_back(info.name);
        SourcePtr source = info.make(*m_context);
        if (!source->prepare()) {
            if (source->isForbidden()) forbidden.insert(info.name);
            continue;
        }
        present.insert(info.name);
        const double intervalMs = m_options.selection.intervalMs(info, m_options.intervalMs);
        m_sources.push_back({std::move(source), ticks_i(intervalMs)});
    }
    if (trace)
        m_sources.push_back({std::move(trace), ticks_i(std::min(m_options.intervalMs, MOST_TRACE_MS))});
    for (const std::string& name : wanted)
        if (present.count(name) == 0) (forbidden.count(name) == 0 ? m_absent : m_forbidden).push_back(name);
}

// Null if none is wanted, or there is none to be had.
SourcePtr Part::makeTrace_i() {
    if (!m_options.trace.isWanted()) return nullptr;
    if (!m_root.isThisMachine()) {
        m_warn("trace: kernel events are those of the running machine, not of --root");
        return nullptr;
    }
    SourcePtr trace = makeTraceSource(*m_context, m_options.trace, [this] { return m_clock.ticks(); });
    return trace->prepare() ? std::move(trace) : nullptr;
}

std::uint64_t Part::ticks_i(double milliseconds) const {
    const double ticks = milliseconds * 1000.0 * m_clock.ticksPerUsec();
    return static_cast<std::uint64_t>(std::llround(std::clamp(ticks, 1.0, 1e18)));
}

void Part::baseline(std::uint64_t ticks) {
    m_wallStart = m_clock.wallNanoseconds();
    m_start = m_last = m_stop = ticks;
    m_stat.update();
    for (Active& active : m_sources) {
        active.source->baseline(ticks);
        active.last = ticks;
        active.due = ticks + active.interval;
    }
}

void Part::goLive(const emit::LineSink& sink, std::uint64_t stop) {
    m_isLive = true;
    m_output.redirect([this, sink](std::string_view line) {
        m_bytes += line.size() + 1;
        if (m_tee && !line.starts_with(R"({"msg":"s)") && line != R"({"msg":"flush"})") m_tee(line);
        return sink(line);
    });
    writeSystem_i(m_output, stop);
    m_spool.replay(sink);
}

void Part::tee(const emit::LineSink& sink, std::uint64_t stop) {
    emit::Output output(sink);
    writeSystem_i(output, stop);
    m_spool.replay(sink);
    m_tee = sink;
}

void Part::flushTee(std::uint64_t ticks) {
    emit::Output output(m_tee);
    writeStop_i(output, ticks);
    emit::JsonLine(key::MESSAGE, message::FLUSH).writeTo(output);
}

std::uint64_t Part::due() const {
    std::uint64_t first = ~std::uint64_t{0};
    for (const Active& active : m_sources) first = std::min(first, active.due);
    return first;
}

bool Part::sample(std::uint64_t ticks, bool all) {
    bool isLate = false;
    m_last = ticks;
    ++m_samples;
    m_stat.update();
    for (Active& active : m_sources) {
        const bool isDue = active.due <= ticks;
        if (!isDue && (!all || active.last == ticks)) continue;
        active.source->sample(ticks);
        active.last = ticks;
        if (!isDue) continue;
        const std::uint64_t passed = (ticks - active.due) / active.interval;
        isLate = isLate || passed > 0;
        active.due += (passed + 1) * active.interval;
    }
    return isLate;
}

int Part::wakeDescriptor() const {
    for (const Active& active : m_sources)
        if (const int descriptor = active.source->wakeDescriptor(); descriptor >= 0) return descriptor;
    return -1;
}

void Part::drain() {
    for (Active& active : m_sources) active.source->drain();
}

void Part::restart(std::uint64_t ticks) {
    m_last = ticks;
    m_stat.update();
    for (Active& active : m_sources) {
        active.source->restart(ticks);
        active.last = ticks;
        active.due = ticks + active.interval;
    }
}

// With the stop of the collection as it would be now.
void Part::flush(std::uint64_t ticks) {
    writeStop_i(m_output, ticks);
    emit::JsonLine(key::MESSAGE, message::FLUSH).writeTo(m_output);
}

void Part::finish(std::uint64_t ticks, const std::string& reason) {
    m_stop = ticks;
    m_reason = reason;
    for (Active& active : m_sources) active.source->finish(ticks);
}

bool Part::deliver(const emit::LineSink& sink) {
    std::string lost;
    m_tee = {};
    if (m_isLive) {  // which is where `sink` would be
        flush(m_stop);
    } else {
        m_output.redirect(sink);
        writeSystem_i(m_output, m_stop);
        lost = m_spool.error();
        m_spool.replay([this](std::string_view line) {
            m_output.write(line);
            return m_output.isOpen();
        });
    }
    writeReport_i();
    if (m_spool.error().empty()) return true;
    m_warn(m_spool.error() + (lost.empty() ? "" : "; the collection has ended there"));
    return false;
}

void Part::writeSystem_i(emit::Output& output, std::uint64_t stop) {
    const auto& [family, model, stepping] = m_machine.processor;
    emit::JsonLine line(key::MESSAGE, message::SYSTEM);
    line.key(key::CPU).beginList().value(std::min(family, 255U)).value(std::min(model, 255U));
    line.value(std::min(stepping, 255U)).endList();
    addVersion(line, "product", VERSION);
    addVersion(line, "driver", m_machine.kernel);
    line.member(key::PLATFORM, m_machine.platform).member(key::HOST, m_machine.host);
    line.member(key::OS_NAME, m_machine.osName).member(key::OS_TYPE, m_machine.osType);
    line.member(key::OS_VERSION, m_machine.osVersion);
    line.key(key::TOPOLOGY).beginList();
    for (const TopologyNode& node : m_machine.topology)
        line.beginList().value(static_cast<int>(node.type)).value(node.id).value(node.parent).endList();
    line.endList();
    line.member(key::TSC_MHZ, m_clock.ticksPerUsec()).member(key::LFM_MHZ, m_machine.lowMHz);
    line.member(key::HFM_MHZ, m_machine.highMHz).member(key::CPU_MHZ, m_machine.cpuMHz);
    line.member(key::START, m_start).member(key::STOP, stop).member(key::TIME, m_wallStart);
    line.list(key::COMMAND, m_options.command).member(key::DURATION_SEC, seconds_i(stop - m_start));
    line.member(key::START_TIME, base::localTimeText(static_cast<std::uint64_t>(m_wallStart)));
    line.member(key::CODE_NAME,
                m_machine.vendor + " family " + std::to_string(family) + " model " + std::to_string(model));
    line.member(key::NATIVE_MODEL, m_machine.modelName).member(key::PCH_NAMES, m_machine.chipset);
    line.writeTo(output);
}

void Part::writeStop_i(emit::Output& output, std::uint64_t stop) {
    emit::JsonLine line(key::MESSAGE, message::STOP);
    line.member(key::TSC, stop).member(key::DURATION_SEC, seconds_i(stop - m_start)).writeTo(output);
}

void Part::writeHead_i(emit::Report& report) {
    const std::size_t cpus = m_cpus->numbers().size();
    report.header("Platform: " + m_machine.platform);
    report.header("Processor: " + processorText(m_machine) + ", " + std::to_string(cpus) + " CPUs online, " +
                  base::fixedText(m_clock.ticksPerUsec(), 3) + " MHz time stamp counter");
    report.header("System: " + m_machine.host + ", " + m_machine.osName + ", kernel " + m_machine.osVersion +
                  " " + m_machine.osType);
    report.header("Collection: " + base::localTimeText(static_cast<std::uint64_t>(m_wallStart)) + ", " +
                  base::fixedText(seconds_i(m_stop - m_start), 2) + " s, " + std::to_string(m_samples) +
                  " samples every " + shortestText(m_options.intervalMs) + " msec" +
                  (m_reason.empty() ? "" : ", ended early by " + m_reason));
    if (!m_absent.empty()) report.note("Not offered by this machine: " + joined(m_absent));
    if (!m_forbidden.empty()) report.note("May not be read by this user: " + joined(m_forbidden));
    report.note("Residencies in raw results are ticks of the time stamp counter, " +
                base::fixedText(m_clock.ticksPerUsec(), 3) + " of which are one usec");
}

void Part::writeReport_i() {
    emit::Report report(m_output, m_definitions);
    writeHead_i(report);
    for (const Active& active : m_sources) active.source->report(report);
    for (const auto& write : m_additions) write(report);
    if (m_options.order.empty())
        report.order(defaultFeatureOrder());
    else
        m_output.write(m_options.order);
}

}  // namespace host::record
