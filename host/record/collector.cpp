#include "host/record/collector.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <utility>

#include "host/base/text.h"
#include "host/emit/json_line.h"
#include "host/record/progress.h"

namespace host::record {

namespace {

constexpr std::array<unsigned, 3> VERSION{1, 0, 0};

// So many does a record of the import format hold.
constexpr std::size_t MOST_ATTRIBUTES = 2048;

std::string localTime(std::int64_t wallNanoseconds) {
    const std::time_t seconds = wallNanoseconds / 1'000'000'000;
    std::tm parts{};
    char text[40];
    localtime_r(&seconds, &parts);
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts));
}

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

Collector::Collector(const RecordOptions& options, const Root& root, Clock& clock, emit::LineSink sink,
                     std::function<void(const std::string&)> tell)
    : m_options(options),
      m_root(root),
      m_clock(clock),
      m_sink(std::move(sink)),
      m_tell(std::move(tell)),
      m_output([this](std::string_view line) { return m_spool.append(line); }),
      m_definitions(m_output),
      m_stat(root) {}

Collector::~Collector() = default;

double Collector::seconds_i(std::uint64_t ticks) const {
    return static_cast<double>(ticks) / m_clock.ticksPerUsec() / 1e6;
}

std::uint64_t Collector::ticks_i(double seconds) const {
    const double ticks = seconds * 1e6 * m_clock.ticksPerUsec();
    return ticks < 1e18 ? static_cast<std::uint64_t>(std::llround(ticks)) : std::uint64_t{1} << 60;
}

RecordResult Collector::run() {
    if (!m_options.save.empty()) {
        m_save.emplace(m_options.save);
        if (!m_save->isGood()) {
            m_tell(m_save->error());
            return RecordResult::Failed;
        }
    }
    prepare_i();
    collect_i();
    return finish_i();
}

// Everything that takes time, so that the first sample's interval is not longer than the others.
void Collector::prepare_i() {
    const double ticksPerUsec = m_clock.ticksPerUsec();
    m_stat.update();
    m_machine = readMachine(m_root, ticksPerUsec);
    m_definitions.time();
    const emit::Id system = m_definitions.entity("System");
    m_cpus = std::make_unique<Cpus>(m_definitions, m_machine.topology);
    m_context = std::make_unique<SourceContext>(
        SourceContext{{m_definitions, m_output, ticksPerUsec, MOST_ATTRIBUTES},
                      m_root,
                      *m_cpus,
                      m_stat,
                      system,
                      bootTicks(m_root, m_clock.ticks(), ticksPerUsec),
                      m_tell});
    for (SourcePtr& source : makeSources(*m_context)) {
        if (source->prepare())
            m_sources.push_back(std::move(source));
        else
            m_absent.push_back(source->subject());
    }
}

void Collector::collect_i() {
    const std::uint64_t interval = std::max<std::uint64_t>(ticks_i(m_options.intervalMs / 1000.0), 1);
    const std::uint64_t flushEvery = std::max<std::uint64_t>(ticks_i(m_options.flushEverySec), interval);
    const std::uint64_t wanted = ticks_i(m_options.seconds);

    m_wallStart = m_clock.wallNanoseconds();
    m_start = m_last = m_stop = m_clock.ticks();
    m_stat.update();
    for (const SourcePtr& source : m_sources) source->baseline(m_start);
    if (m_options.continuous) {
        m_output.redirect([this](std::string_view line) { return deliver_i(line); });
        writeSystem_i(m_start + wanted);
        m_spool.replay([this](std::string_view line) { return deliver_i(line); });
    }

    Progress progress(m_options.progress, m_options.seconds);
    std::uint64_t nextFlush = m_start + flushEvery;
    std::uint64_t next = m_start + interval;
    const std::uint64_t end = wanted > 0 ? m_start + wanted : ~std::uint64_t{0};
    while (m_output.isOpen() && m_last < end) {
        if (!m_clock.waitUntil(std::min(next, end))) {
            m_interrupted = true;
            break;
        }
        sample_i(std::max(m_clock.ticks(), m_last + 1));
        // Samples that are due already are left out: a late one holds what they would have.
        next += std::max<std::uint64_t>(m_last >= next ? (m_last - next) / interval + 1 : 0, 1) * interval;
        if (m_options.continuous && m_last >= nextFlush) {
            flush_i(m_last);
            nextFlush = m_last + flushEvery;
        }
        progress.update(seconds_i(m_last - m_start), m_samples);
    }
    m_stop = std::max(m_clock.ticks(), m_last + 1);
    for (const SourcePtr& source : m_sources) source->finish(m_stop);
    progress.clear();
    if (m_interrupted)
        m_tell("ended by " + m_clock.interruption() + " after " +
               base::fixedText(seconds_i(m_stop - m_start), 2) + " s; all files are being completed");
}

void Collector::sample_i(std::uint64_t ticks) {
    m_last = ticks;
    ++m_samples;
    m_stat.update();
    for (const SourcePtr& source : m_sources) source->sample(ticks);
}

// Delivers what is there, with the stop of the collection as it would be now.
void Collector::flush_i(std::uint64_t stop) {
    writeStop_i(stop);
    emit::JsonLine("msg", "flush").writeTo(m_output);
    if (m_save) m_save->flush();
}

// To the file that keeps the stream and to the reader; a failure of the first does not cost the second.
bool Collector::deliver_i(std::string_view line) {
    if (m_save) {
        const bool wasGood = m_save->isGood();
        m_save->append(line);
        if (wasGood && !m_save->isGood()) {
            m_failed = true;
            m_tell(m_save->error() + "; the results are not concerned");
        }
    }
    if (!m_refused && !m_sink(line)) m_refused = true;
    return !m_refused;
}

void Collector::writeSystem_i(std::uint64_t stop) {
    const auto& [family, model, stepping] = m_machine.processor;
    emit::JsonLine line("msg", "system");
    line.key("cpu").beginList().value(std::min(family, 255U)).value(std::min(model, 255U));
    line.value(std::min(stepping, 255U)).endList();
    addVersion(line, "product", VERSION);
    addVersion(line, "driver", m_machine.kernel);
    line.member("platform", m_machine.platform).member("host", m_machine.host);
    line.member("osName", m_machine.osName).member("osType", m_machine.osType);
    line.member("osVersion", m_machine.osVersion);
    line.key("topology").beginList();
    for (const TopologyNode& node : m_machine.topology)
        line.beginList().value(static_cast<int>(node.type)).value(node.id).value(node.parent).endList();
    line.endList();
    line.member("tscMHz", m_clock.ticksPerUsec()).member("lfmMHz", m_machine.lowMHz);
    line.member("hfmMHz", m_machine.highMHz).member("cpuMHz", m_machine.cpuMHz);
    line.member("start", m_start).member("stop", stop).member("time", m_wallStart);
    line.list("command", m_options.command).member("durationSec", seconds_i(stop - m_start));
    line.member("startTime", localTime(m_wallStart));
    line.member("codeName",
                m_machine.vendor + " family " + std::to_string(family) + " model " + std::to_string(model));
    line.member("nativeModel", m_machine.modelName).member("pchNames", m_machine.chipset);
    line.writeTo(m_output);
}

void Collector::writeStop_i(std::uint64_t stop) {
    emit::JsonLine line("msg", "stop");
    line.member("tsc", stop).member("durationSec", seconds_i(stop - m_start)).writeTo(m_output);
}

void Collector::writeHead_i(emit::Report& report) {
    const std::size_t cpus = m_cpus->numbers().size();
    report.header("Platform: " + m_machine.platform);
    report.header("Processor: " + processorText(m_machine) + ", " + std::to_string(cpus) + " CPUs online, " +
                  base::fixedText(m_clock.ticksPerUsec(), 3) + " MHz time stamp counter");
    report.header("System: " + m_machine.host + ", " + m_machine.osName + ", kernel " + m_machine.osVersion +
                  " " + m_machine.osType);
    report.header("Collection: " + localTime(m_wallStart) + ", " +
                  base::fixedText(seconds_i(m_stop - m_start), 2) + " s, " + std::to_string(m_samples) +
                  " samples every " + shortestText(m_options.intervalMs) + " msec" +
                  (m_interrupted ? ", ended early by " + m_clock.interruption() : ""));
    if (!m_absent.empty()) report.note("Not offered by this machine: " + joined(m_absent));
    report.note("Residencies in raw results are ticks of the time stamp counter, " +
                base::fixedText(m_clock.ticksPerUsec(), 3) + " of which are one usec");
}

void Collector::writeReport_i() {
    emit::Report report(m_output, m_definitions);
    writeHead_i(report);
    for (const SourcePtr& source : m_sources) source->report(report);
    if (m_options.order.empty())
        report.order(defaultFeatureOrder());
    else
        m_output.write(m_options.order);
}

RecordResult Collector::finish_i() {
    if (m_options.continuous) {
        flush_i(m_stop);
    } else {
        m_output.redirect([this](std::string_view line) { return deliver_i(line); });
        writeSystem_i(m_stop);
        const std::string lost = m_spool.error();
        m_spool.replay([this](std::string_view line) { return deliver_i(line); });
        if (!m_spool.error().empty()) {
            m_failed = true;
            m_tell(m_spool.error() + (lost.empty() ? "" : "; the collection has ended there"));
        }
    }
    writeReport_i();
    if (m_save && !m_save->finish() && !m_failed) {
        m_failed = true;
        m_tell(m_save->error());
    }
    if (m_refused) return RecordResult::Refused;
    return m_failed ? RecordResult::Failed : RecordResult::Complete;
}

}  // namespace host::record
