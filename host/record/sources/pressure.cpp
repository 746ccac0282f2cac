// How long tasks were held up for want of CPU time, memory or I/O.
#include <array>

#include "host/base/text.h"
#include "host/record/sources/counters.h"
#include "host/record/sources/sources.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

constexpr std::array<const char*, 4> RESOURCES{"cpu", "memory", "io", "irq"};
constexpr std::array<std::string_view, 2> KINDS{"some", "full"};

class PressureSource : public Source {
public:
    explicit PressureSource(SourceContext& context)
        : m_context(context),
          m_metric(context, counterSpec("pressure", "Pressure Stall Time", "usec", {"Resource", "Tasks"})) {}

    bool prepare() override {
        for (const char* name : RESOURCES) {
            Resource resource{WatchedFile(m_context, std::string("proc/pressure/") + name), {}};
            if (!resource.file.isReadable()) continue;
            resource.items.fill(NO_ITEM);
            emit::Id entity = 0;
            read_i(resource, [&](std::size_t kind, std::uint64_t) {
                if (entity == 0) entity = m_context.define.entity(name);
                const std::string title(KINDS[kind]);
                resource.items[kind] = m_metric.add(entity, title, {name, title});
            });
            if (entity != 0) m_resources.push_back(std::move(resource));
        }
        if (!m_resources.empty()) m_metric.define();
        return !m_resources.empty();
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        each_i([&](std::size_t item, std::uint64_t total) { m_metric.start(item, total); });
    }

    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        each_i([&](std::size_t item, std::uint64_t total) { m_metric.take(item, total); });
        m_metric.end();
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    static constexpr std::size_t NO_ITEM = ~std::size_t{0};
    struct Resource {
        WatchedFile file;
        std::array<std::size_t, KINDS.size()> items;
    };

    void read_i(Resource& resource, auto withTotal) {
        std::string_view text;
        std::string_view line;
        if (!resource.file.readText(text, m_buffer)) return;
        while (base::takeLine(text, line)) {
            const std::size_t at = line.find("total=");
            if (at == std::string_view::npos) continue;
            std::string_view number = line.substr(at + 6);
            std::uint64_t total = 0;
            if (!base::takeUnsigned(number, total)) continue;
            for (std::size_t kind = 0; kind < KINDS.size(); ++kind)
                if (line.starts_with(KINDS[kind])) withTotal(kind, total);
        }
    }

    void each_i(auto withItem) {
        for (Resource& resource : m_resources)
            read_i(resource, [&](std::size_t kind, std::uint64_t total) {
                if (resource.items[kind] != NO_ITEM) withItem(resource.items[kind], total);
            });
    }

    SourceContext& m_context;
    emit::CounterMetric m_metric;
    std::vector<Resource> m_resources;
    std::vector<char> m_buffer;
};

}  // namespace

SourcePtr makePressureSource(SourceContext& context) {
    return std::make_unique<PressureSource>(context);
}

}  // namespace host::record
