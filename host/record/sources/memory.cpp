// Memory that is available to programs, and what the rest is used for.
#include <array>

#include "host/base/text.h"
#include "host/emit/value_metric.h"
#include "host/record/sources/sources.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

constexpr std::string_view AVAILABLE = "MemAvailable";
constexpr std::array<std::string_view, 10> PARTS{"MemFree",   "Buffers", "Cached", "Dirty", "Writeback",
                                                 "AnonPages", "Mapped",  "Shmem",  "Slab",  "SwapFree"};

emit::ValueSpec valueSpec(const char* metric, const char* what, const char* of) {
    return {.section = {0, "memory", metric, ""},
            .quantity = {emit::QuantityKind::Size, "Memory", "KiB"},
            .what = what,
            .of = of,
            .decimals = 0};
}

class MemorySource : public Source {
public:
    explicit MemorySource(SourceContext& context)
        : m_context(context),
          m_available(context, valueSpec("Available Memory", "Available", "Component")),
          m_parts(context, valueSpec("Memory", "Memory", "Part")),
          m_file(context, "proc/meminfo") {}

    bool prepare() override {
        read_i([&](std::string_view name, std::uint64_t) {
            if (name == AVAILABLE) m_available.add(m_context.system, "System");
            for (std::size_t part = 0; part < PARTS.size(); ++part)
                if (name == PARTS[part])
                    m_items[part] = m_parts.add(m_context.system, std::string(name), std::string(name)) + 1;
        });
        if (!m_available.isEmpty()) m_available.define();
        if (!m_parts.isEmpty()) m_parts.define();
        return !m_available.isEmpty() || !m_parts.isEmpty();
    }

    void baseline(std::uint64_t ticks) override {
        m_available.baseline(ticks);
        m_parts.baseline(ticks);
    }

    void sample(std::uint64_t ticks) override {
        m_available.begin(ticks);
        m_parts.begin(ticks);
        read_i([&](std::string_view name, std::uint64_t kibibytes) {
            if (name == AVAILABLE && !m_available.isEmpty()) m_available.takeWhole(0, kibibytes);
            for (std::size_t part = 0; part < PARTS.size(); ++part)
                if (m_items[part] != 0 && name == PARTS[part])
                    m_parts.takeWhole(m_items[part] - 1, kibibytes);
        });
        m_available.end();
        m_parts.end();
    }

    void report(emit::Report& report) override {
        m_available.report(report);
        m_parts.report(report);
    }

private:
    void read_i(auto withValue) {
        std::string_view text;
        std::string_view line;
        if (!m_file.isReadable() || !m_file.readText(text, m_buffer)) return;
        while (base::takeLine(text, line)) {
            const std::size_t colon = line.find(':');
            if (colon == std::string_view::npos) continue;
            std::string_view number = line.substr(colon + 1);
            std::uint64_t value = 0;
            if (base::takeUnsigned(number, value)) withValue(line.substr(0, colon), value);
        }
    }

    SourceContext& m_context;
    emit::ValueMetric m_available;
    emit::ValueMetric m_parts;
    std::array<std::size_t, PARTS.size()> m_items{};  // of the parts, from 1; 0: not given
    WatchedFile m_file;
    std::vector<char> m_buffer;
};

}  // namespace

SourcePtr makeMemorySource(SourceContext& context) {
    return std::make_unique<MemorySource>(context);
}

}  // namespace host::record
