#include "host/cli/run_summary.h"

#include <algorithm>

#include "host/base/text.h"
#include "host/stream/line_source.h"
#include "host/stream/stream_reader.h"
#include "pwr/messages.h"
#include "pwr/metric.h"
#include "pwr/system_metadata.h"

namespace host::cli {

namespace {

// A note such as "12 events were lost" reports so many losses.
std::uint64_t lossesOf(std::string_view note) {
    std::uint64_t count = 0;
    std::string_view text = base::trimmed(note);
    const bool isNumber = base::takeUnsigned(text, count);
    return isNumber && text.find(" lost") != std::string_view::npos ? count : 0;
}

// Counts what a stream delivers.
class Counter : public stream::MessageSink {
public:
    explicit Counter(RunSummary& summary) : m_summary(summary) {}

    void setLine(std::uint64_t) override {}
    void table(const pwr::TableMessage&, pwr::TableClass) override {}
    void text(const pwr::TextMessage& message) override { m_summary.losses += lossesOf(message.m_text); }
    void container(const pwr::MetricContainerInfoMessage&) override {}
    void id(const pwr::IdMessage&) override {}
    void flush(const pwr::SystemMetadata&) override {}
    void system(const pwr::SystemMessage& message) override { m_metadata = message.m_metadata; }
    void metric(const pwr::Metric& metric) override {
        if (metric.getData().elements.empty()) return;
        m_metrics.insert(metric.m_id);
        m_summary.samples += metric.getData().elements.size();
    }

    // The metadata may have been corrected while the run went on.
    void finish() {
        m_summary.metrics = m_metrics.size();
        if (m_metadata == nullptr) return;
        m_summary.host = m_metadata->m_hostName;
        m_summary.cpu = m_metadata->getCPUNativeModelName(m_metadata->m_cpu.model);
        if (m_summary.cpu.empty()) m_summary.cpu = m_metadata->getFormattedCPUCodeName();
        m_summary.kernel = m_metadata->m_osVersion;
        m_summary.start = m_metadata->m_collectionTime;
        m_summary.durationSec = m_metadata->getCollectionDurationSec();
    }

private:
    RunSummary& m_summary;
    std::set<std::uint32_t> m_metrics;
    const pwr::SystemMetadata* m_metadata = nullptr;
};

// The name without folders and ending.
std::string runOf(const std::string& name) {
    std::string run = name.substr(name.rfind('/') + 1);
    for (const char* extension : {".zst", ".gz"})
        if (run.ends_with(extension)) run.resize(run.size() - std::string_view(extension).size());
    for (const importers::InputKind& kind : importers::inputKinds())
        if (run.ends_with(kind.extension)) run.resize(run.size() - std::string_view(kind.extension).size());
    return run;
}

bool readLines(importers::Input& input, stream::StreamReader& reader, std::string& error) {
    stream::LineSource source(input.content());
    char* text = nullptr;
    std::size_t size = 0;
    while (source.next(text, size)) {
        if (reader.lineInPlace(text, size, source.lineNumber())) continue;
        error = input.name() + ":" + std::to_string(source.lineNumber()) + ": " + reader.error();
        return false;
    }
    if (!source.error().empty()) error = input.name() + ": " + source.error();
    return source.error().empty();
}

bool import(importers::Input& input, const importers::InputKind& kind, stream::StreamReader& reader,
            std::string& error) {
    std::uint64_t number = 0;
    emit::Output output([&](std::string_view line) { return reader.line(line, ++number); });
    importers::ImportTarget target{output, [](const std::string&) {}};
    target.isPartAlone = true;
    const auto importer = kind.make(target);
    importers::Damage damage;
    const bool isGood = importer->read(input, damage) && output.isOpen() && input.content().error().empty();
    if (output.isOpen()) importer->finish();
    if (isGood) return true;
    if (!output.isOpen()) damage.what = reader.error();
    const std::string& readError = input.content().error();
    error = input.name() + ": " +
            (readError.empty() ? "offset " + std::to_string(damage.offset) + ": " + damage.what : readError);
    return false;
}

}  // namespace

bool summarise(importers::Input& input, RunSummary& summary, std::string& error) {
    const importers::InputKind* const kind = importers::recogniseKind(input.content());
    if (kind == nullptr || (kind->make == nullptr && !importers::beginsLikeStream(input.content()))) {
        error = input.name() + ": no kind of input that is known; there are: " + importers::kindNames();
        return false;
    }
    summary.kind = kind->name;
    summary.run = runOf(input.name());
    summary.size = input.fileSize();
    Counter counter(summary);
    stream::StreamReader reader(counter);
    const bool isGood =
        kind->make != nullptr ? import(input, *kind, reader, error) : readLines(input, reader, error);
    counter.finish();
    return isGood;
}

}  // namespace host::cli
