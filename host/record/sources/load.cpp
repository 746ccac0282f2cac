// Load averages over 1, 5 and 15 minutes.
#include <array>
#include <charconv>

#include "host/emit/value_metric.h"
#include "host/record/sources/sources.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

constexpr std::array<const char*, 3> SPANS{"1 min", "5 min", "15 min"};

bool parseLoads(std::string_view text, std::array<double, 3>& loads) {
    for (double& load : loads) {
        const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), load);
        if (error != std::errc()) return false;
        text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
        if (text.starts_with(' ')) text.remove_prefix(1);
    }
    return true;
}

class LoadSource : public Source {
public:
    explicit LoadSource(SourceContext& context)
        : m_context(context),
          m_metric(context, {.section = {0, "kernel", "Load Average", ""},
                             .quantity = {emit::QuantityKind::Load, "Load", "tasks"},
                             .what = "Load",
                             .of = "Over",
                             .decimals = 2}),
          m_file(context, "proc/loadavg") {}

    bool prepare() override {
        std::string_view text;
        std::array<double, 3> loads{};
        if (!m_file.isReadable() || !m_file.readText(text, m_buffer) || !parseLoads(text, loads))
            return false;
        for (const char* span : SPANS) m_metric.add(m_context.define.entity(span), span);
        m_metric.define();
        return true;
    }

    void baseline(std::uint64_t ticks) override { m_metric.baseline(ticks); }

    void sample(std::uint64_t ticks) override {
        std::string_view text;
        std::array<double, 3> loads{};
        m_metric.begin(ticks);
        if (m_file.readText(text, m_buffer) && parseLoads(text, loads))
            for (std::size_t i = 0; i < loads.size(); ++i) m_metric.takeReal(i, loads[i]);
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    SourceContext& m_context;
    emit::ValueMetric m_metric;
    WatchedFile m_file;
    std::vector<char> m_buffer;
};

}  // namespace

SourcePtr makeLoadSource(SourceContext& context) {
    return std::make_unique<LoadSource>(context);
}

}  // namespace host::record
