#include "host/importers/kernel/ftrace_importer.h"

#include <algorithm>

#include "host/base/text.h"
#include "host/importers/kernel/line_splitter.h"

namespace host::importers {

namespace {

using kernel_events::Event;
using kernel_events::Kind;

constexpr std::size_t NOWHERE = std::string_view::npos;
constexpr std::uint64_t MOST_TOLD = 10;  // malformed lines

bool takePrefix(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

bool isPage(std::string_view text) {
    return text.starts_with("<!DOCTYPE") || text.starts_with("<!doctype") || text.starts_with("<html");
}

// A page is one of a trace, unless its head says that it is one of ours: results in pictures.
Sniff sniffPage(std::string_view head, bool isWhole) {
    constexpr std::size_t ENOUGH = 512;
    if (head.find("script-src 'sha256-") != NOWHERE) return Sniff::No;
    return isWhole || head.size() > ENOUGH ? Sniff::Yes : Sniff::NeedsMore;
}

// What only traces in text say.
bool isHead(std::string_view line) {
    std::uint64_t number = 0;
    if (line.starts_with("# tracer:")) return true;
    if (takePrefix(line, "version = ") || takePrefix(line, "cpus=")) return base::takeUnsigned(line, number);
    FtraceLine event;
    return readFtraceLine(line, event);
}

}  // namespace

Sniff sniffFtrace(std::string_view head, bool isWhole) {
    constexpr std::size_t MOST = 3072;  // so much may stand before something that shows it
    const bool isLong = head.size() > MOST;
    while (!head.empty()) {
        const bool isEnded = head.find('\n') != NOWHERE;
        std::string_view line;
        base::takeLine(head, line);
        line = base::trimmed(line);
        if (line.starts_with('{') || (!line.empty() && (line[0] < ' ' || line[0] > '~'))) return Sniff::No;
        if (!isEnded && !isWhole) break;
        if (isPage(line)) return sniffPage(head, isWhole);
        if (isHead(line)) return Sniff::Yes;
        if (!line.empty() && line[0] != '#') return Sniff::No;
    }
    return isWhole || isLong ? Sniff::No : Sniff::NeedsMore;
}

std::unique_ptr<Importer> makeFtraceImporter(const ImportTarget& target) {
    return std::make_unique<FtraceImporter>(target);
}

bool FtraceImporter::read(Input& part, Damage&) {
    m_name = part.name();
    m_line = 0;
    m_page = Page::None;
    LineSplitter lines(part.content());
    std::string_view line;
    while (lines.next(line)) {
        line_i(line);
        if (m_line % 4096 == 0 && part.isStopped()) break;
    }
    m_target.tell(m_name + ": " + m_builder.tally().text("lines"));
    return true;
}

void FtraceImporter::finish() {
    for (std::uint32_t cpu = 0; cpu < m_losses.size(); ++cpu) tellLoss_i(cpu, m_builder.tally().stop());
    if (m_builder.tally().events() == 0)
        m_target.fail("not a single event is in it");
    else if (m_builder.tally().malformed > 0)
        m_target.fail({});
    m_builder.finish();
}

void FtraceImporter::line_i(std::string_view line) {
    ++m_line;
    ++m_builder.tally().lines;
    std::string_view text = line;
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t' || text.front() == '\r'))
        text.remove_prefix(1);
    if (text.empty() || isOfPage_i(text) || isOther_i(text) || isLoss_i(text)) {
        ++m_builder.tally().others;
        return;
    }
    FtraceLine event;
    const bool isEvent = readFtraceLine(text, event);
    if (!isEvent || event.event.empty()) {
        if (isEvent && isLossOfProfile_i(event))
            ++m_builder.tally().others;
        else
            malformed_i("no event");
        return;
    }
    event_i(event);
}

// A page holds the trace in a script, and may hold other scripts of that class.
bool FtraceImporter::isOfPage_i(std::string_view text) {
    if (m_page == Page::None && !(m_builder.tally().events() == 0 && isPage(text))) return false;
    if (text.find("</script>") != NOWHERE || m_page == Page::None)
        m_page = Page::Outside;
    else if (m_page == Page::Unsure)
        m_page = text.starts_with('#') ? Page::Inside : Page::Outside;
    if (text.find("class=\"trace-data\"") != NOWHERE) m_page = Page::Unsure;
    return m_page != Page::Inside;
}

bool FtraceImporter::isOther_i(std::string_view text) {
    std::uint64_t number = 0;
    if (text.front() == '#') {
        const std::size_t cpus = text.find("#P:");
        if (cpus == NOWHERE) return true;
        text.remove_prefix(cpus + 3);
        if (base::takeUnsigned(text, number))
            m_builder.tally().expectCpus(
                static_cast<std::uint32_t>(std::min<std::uint64_t>(number, kernel_events::MOST_CPUS)));
        return true;
    }
    if (takePrefix(text, "version =")) return true;
    if (takePrefix(text, "cpus=")) {
        const bool isNumber = base::takeUnsigned(text, number);
        if (isNumber)
            m_builder.tally().expectCpus(
                static_cast<std::uint32_t>(std::min<std::uint64_t>(number, kernel_events::MOST_CPUS)));
        return isNumber;
    }
    return takePrefix(text, "CPU ") && base::takeUnsigned(text, number) && base::trimmed(text) == "is empty";
}

// "CPU:1 [LOST 12 EVENTS]" and "CPU:1 [12 EVENTS DROPPED]"; without a number where it is not known.
bool FtraceImporter::isLoss_i(std::string_view text) {
    std::uint64_t cpu = 0;
    if (!takePrefix(text, "CPU:") || !base::takeUnsigned(text, cpu) || cpu >= kernel_events::MOST_CPUS)
        return false;
    text = base::trimmed(text);
    std::uint64_t count = 1;
    const bool isLost = takePrefix(text, "[LOST ");
    if (!isLost && !takePrefix(text, "[")) return false;
    base::takeUnsigned(text, count);
    text = base::trimmed(text);
    if (text != (isLost ? "EVENTS]" : "EVENTS DROPPED]")) return false;
    lose_i(static_cast<std::uint32_t>(cpu), count);
    return true;
}

// "PERF_RECORD_LOST lost 12" where others have their event.
bool FtraceImporter::isLossOfProfile_i(const FtraceLine& line) {
    std::string_view text = line.fields;
    std::uint64_t count = 0;
    if (!takePrefix(text, "PERF_RECORD_LOST lost ") || !base::takeUnsigned(text, count)) return false;
    lose_i(line.cpu, count);
    return true;
}

void FtraceImporter::lose_i(std::uint32_t cpu, std::uint64_t count) {
    m_builder.tally().lose(cpu, count);
    if (m_losses.size() <= cpu) m_losses.resize(cpu + 1);
    m_losses[cpu] += count;
}

void FtraceImporter::tellLoss_i(std::uint32_t cpu, std::uint64_t stamp) {
    if (m_losses.size() <= cpu || m_losses[cpu] == 0) return;
    Event event;
    event.kind = Kind::Loss;
    event.stamp = stamp;
    event.cpu = cpu;
    event.a = static_cast<std::int64_t>(m_losses[cpu]);
    m_losses[cpu] = 0;
    m_builder.add(event);
}

const FtraceImporter::Known& FtraceImporter::known_i(std::string_view event) {
    const kernel_events::NameId name = m_builder.names().get(event);
    if (m_known.size() <= name) m_known.resize(name + 1);
    Known& known = m_known[name];
    if (!known.isSeen) known = {fieldsReader(event), m_builder.tally().place(event), true};
    return known;
}

void FtraceImporter::event_i(const FtraceLine& line) {
    kernel_events::Tally& tally = m_builder.tally();
    const Known& known = known_i(line.event);
    Event event;
    event.stamp = line.stamp;
    event.cpu = line.cpu;
    event.pid = line.pid;
    FieldsResult result = FieldsResult::NotUsed;
    if (known.read != nullptr) result = known.read(line.fields, m_builder.names(), event);
    if (result == FieldsResult::Bad)
        return malformed_i(std::string(line.event) + ": its fields cannot be read");
    tally.see(line.stamp, line.cpu);
    tellLoss_i(line.cpu, line.stamp);
    if (result == FieldsResult::NotUsed) return tally.countUnknown(known.place);
    tally.countMapped(known.place);
    if (result == FieldsResult::ClockSync) {
        m_builder.setWallClock(line.stamp, static_cast<std::uint64_t>(event.a) * 1'000'000);
        return;
    }
    if (event.kind == Kind::SchedSwitch) event.subject = line.process;
    if (kernel_events::namesItsThread(event.kind)) event.comm = m_builder.names().get(line.comm);
    m_builder.add(event);
}

void FtraceImporter::malformed_i(const std::string& what) {
    if (++m_builder.tally().malformed <= MOST_TOLD)
        m_target.tell(m_name + ":" + std::to_string(m_line) + ": " + what);
}

}  // namespace host::importers
