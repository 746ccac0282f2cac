// Memory that is available to programs.
#include "host/base/text.h"
#include "host/emit/value_metric.h"
#include "host/record/sources/sources.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

bool availableMemory(std::string_view text, std::uint64_t& kibibytes) {
    constexpr std::string_view key = "MemAvailable:";
    const std::size_t at = text.find(key);
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at + key.size());
    return base::takeUnsigned(text, kibibytes);
}

class MemorySource : public Source {
public:
    explicit MemorySource(SourceContext& context)
        : m_context(context),
          m_metric(context, {.chapter = {0, "memory", "Available Memory", ""},
                             .quantity = {emit::QuantityKind::Size, "Memory", "KiB"},
                             .what = "Available",
                             .of = "Component",
                             .decimals = 0}),
          m_file(context, "proc/meminfo") {}

    bool prepare() override {
        std::string_view text;
        std::uint64_t available = 0;
        if (!m_file.isReadable() || !m_file.readText(text, m_buffer) || !availableMemory(text, available))
            return false;
        m_metric.add(m_context.system, "System");
        m_metric.define();
        return true;
    }

    void baseline(std::uint64_t ticks) override { m_metric.baseline(ticks); }

    void sample(std::uint64_t ticks) override {
        std::string_view text;
        std::uint64_t available = 0;
        m_metric.begin(ticks);
        if (m_file.readText(text, m_buffer) && availableMemory(text, available))
            m_metric.takeWhole(0, available);
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }
    std::string subject() const override { return "memory"; }

private:
    SourceContext& m_context;
    emit::ValueMetric m_metric;
    WatchedFile m_file;
    std::vector<char> m_buffer;
};

}  // namespace

SourcePtr makeMemorySource(SourceContext& context) {
    return std::make_unique<MemorySource>(context);
}

}  // namespace host::record
