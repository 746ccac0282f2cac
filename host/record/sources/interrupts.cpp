// Interrupts by line, and soft interrupts by kind.
#include <map>

#include "host/base/text.h"
#include "host/emit/top_metric.h"
#include "host/record/sources/counters.h"
#include "host/record/sources/interrupt_table.h"
#include "host/record/sources/sources.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

// What stands after the numbers of a device's line names chip, pin and trigger, then who handles it.
std::string_view handlerOf(std::string_view rest) {
    std::string_view left = rest;
    while (!left.empty()) {
        const std::string_view word = left.substr(0, left.find(' '));
        left = base::trimmed(left.substr(word.size()));
        for (const std::string_view trigger : {"-edge", "-level", "-fasteoi"})
            if (word.ends_with(trigger)) return left;
        if (word == "Edge" || word == "Level") return left;
    }
    const std::size_t blank = rest.rfind(' ');
    return blank == std::string_view::npos ? rest : rest.substr(blank + 1);
}

std::string nameOf(const InterruptTable::Line& line) {
    const bool isNumbered = line.label.find_first_not_of("0123456789") == std::string::npos;
    const std::string_view handler = isNumbered ? handlerOf(line.rest) : std::string_view(line.rest);
    return handler.empty() ? line.label : line.label + " " + std::string(handler);
}

class InterruptLineSource : public Source {
public:
    explicit InterruptLineSource(SourceContext& context)
        : m_context(context),
          m_metric(context, {.section = {0, "interrupt", "Interrupt Lines", ""},
                             .quantity = {emit::QuantityKind::Count, "Interrupt Lines", "interrupts"},
                             .rate = {emit::QuantityKind::Rate, "Interrupt Rate", "interrupts/s"},
                             .rateFactor = 1.0,
                             .of = "Line",
                             .top = context.top}),
          m_file(context, "proc/interrupts") {}

    bool prepare() override {
        if (!m_file.isReadable() || !update_i()) return false;
        m_metric.define({m_context.system});
        if (m_metric.isWanted()) m_metric.other(m_context.system, m_context.define.descriptor("other"));
        return true;
    }

    void baseline(std::uint64_t ticks) override {
        m_metric.baseline(ticks);
        update_i();
    }

    void sample(std::uint64_t ticks) override {
        if (!update_i()) return;
        m_metric.begin(ticks);
        for (std::size_t i = 0; i < m_table.count(); ++i) {
            const InterruptTable::Line& line = m_table.lines()[i];
            if (line.rise > 0) m_metric.take(item_i(line), line.rise);
        }
        m_metric.end([&](emit::TopMetric::Item& item) {
            item.head = emit::elementHead(m_context.system, m_context.define.descriptor(item.name));
        });
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    bool update_i() {
        std::string_view text;
        if (!m_file.readText(text, m_buffer)) return false;
        m_table.update(text);
        return m_table.count() > 0;
    }

    emit::TopMetric::Item& item_i(const InterruptTable::Line& line) {
        emit::TopMetric::Item& item = m_items[line.label];
        if (item.name.empty() || line.isNew) {
            std::string name = nameOf(line);
            if (item.name != name) item = {std::move(name), {}};
        }
        return item;
    }

    SourceContext& m_context;
    emit::TopMetric m_metric;
    WatchedFile m_file;
    InterruptTable m_table;
    std::map<std::string, emit::TopMetric::Item> m_items;  // by label
    std::vector<char> m_buffer;
};

class SoftInterruptSource : public Source {
public:
    explicit SoftInterruptSource(SourceContext& context)
        : m_context(context),
          m_metric(context, counterSpec("interrupt", "Soft Interrupts", "interrupts", {"Kind"})),
          m_file(context, "proc/softirqs") {}

    bool prepare() override {
        if (!m_file.isReadable() || !update_i()) return false;
        for (std::size_t i = 0; i < m_table.count(); ++i) {
            const std::string& kind = m_table.lines()[i].label;
            m_items[kind] = m_metric.add(m_context.system, kind, {kind});
        }
        m_metric.define();
        return true;
    }

    void baseline(std::uint64_t ticks) override {
        m_previous = ticks;
        update_i();
    }

    void sample(std::uint64_t ticks) override {
        if (!update_i()) return;
        m_metric.begin(ticks);
        for (std::size_t i = 0; i < m_table.count(); ++i) {
            const InterruptTable::Line& line = m_table.lines()[i];
            if (const auto item = m_items.find(line.label); item != m_items.end())
                m_metric.takeRise(item->second, line.rise, ticks - m_previous);
        }
        m_metric.end();
        m_previous = ticks;
    }

    void report(emit::Report& report) override { m_metric.report(report); }

private:
    bool update_i() {
        std::string_view text;
        if (!m_file.readText(text, m_buffer)) return false;
        m_table.update(text);
        return m_table.count() > 0;
    }

    SourceContext& m_context;
    emit::CounterMetric m_metric;
    WatchedFile m_file;
    InterruptTable m_table;
    std::map<std::string, std::size_t> m_items;  // by label
    std::uint64_t m_previous = 0;
    std::vector<char> m_buffer;
};

}  // namespace

SourcePtr makeInterruptLineSource(SourceContext& context) {
    return std::make_unique<InterruptLineSource>(context);
}

SourcePtr makeSoftInterruptSource(SourceContext& context) {
    return std::make_unique<SoftInterruptSource>(context);
}

}  // namespace host::record
