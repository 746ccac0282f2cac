// Devices that kept the machine from suspending: each stay in the active state, delivered when it has ended.
#include <algorithm>
#include <utility>

#include "host/base/text.h"
#include "host/base/utf8.h"
#include "host/emit/metric_line.h"
#include "host/record/sources/sources.h"
#include "host/record/sources/unique_names.h"
#include "host/record/watched_file.h"

namespace host::record {

namespace {

constexpr int KERNEL_WAKELOCKS = 14;              // the class of the tables that these metrics belong to
constexpr std::size_t LONGEST_NAME = 79;          // bytes that a wakelock record holds
constexpr std::uint64_t MOST_ACTIVATIONS = 1000;  // of one source that are distinguished in one sample

class WakeupSource : public Source {
public:
    explicit WakeupSource(SourceContext& context) : m_context(context), m_line(context) {}

    bool prepare() override {
        const std::string folder = "sys/class/wakeup/";
        UniqueNames names;
        for (const std::string& device : m_context.root.names(folder)) {
            const std::string path = folder + device + "/";
            Item item{WatchedFile(m_context, path + "active_count"),
                      WatchedFile(m_context, path + "active_time_ms"),
                      WatchedFile(m_context, path + "total_time_ms"),
                      {},
                      0,
                      {}};
            if (!item.count.isReadable() || !item.active.isReadable() || !item.total.isReadable()) continue;
            // Long names lose their ends, but not what distinguishes them.
            const std::string name =
                base::cutUtf8(base::toUtf8(m_context.root.text(path + "name")), LONGEST_NAME - 20);
            item.name = base::cutUtf8(names.take(name, device), LONGEST_NAME);
            item.entity = m_context.define.entity(item.name);
            m_items.push_back(std::move(item));
        }
        if (m_items.empty()) return false;
        define_i();
        return true;
    }

    void baseline(std::uint64_t ticks) override {
        m_previous = ticks;
        for (Item& item : m_items) read_i(item, item.last);
    }

    void sample(std::uint64_t ticks) override {
        for (Item& item : m_items) sample_i(item, ticks);
        m_previous = ticks;
    }

    void report(emit::Report& report) override {
        report.section(m_section);
        report.table(m_section.name + " Summary: Activations and Active Time",
                     {"Source", "Activations", "Active Time (msec)", "Average (msec)"});
        for (const Item& item : m_items) {
            const std::uint64_t count = std::max<std::uint64_t>(item.activations, 1);
            const auto time = static_cast<double>(item.activeTime);
            report.row({item.name, std::to_string(item.activations), base::fixedText(time, 0),
                        base::fixedText(time / static_cast<double>(count), 2)});
        }
    }

private:
    // Activations that have ended, and the time that they took together.
    struct Ended {
        std::uint64_t count = 0;
        std::uint64_t msec = 0;
        bool active = false;  // one more goes on
        bool known = false;
    };
    struct Item {
        WatchedFile count;
        WatchedFile active;
        WatchedFile total;
        std::string name;
        emit::Id entity;
        Ended last;
        std::uint64_t counted = 0;  // the files' numbers when they were last read
        std::uint64_t totalMsec = 0;
        std::uint64_t activations = 0;  // since the start
        std::uint64_t activeTime = 0;   // msec
    };

    void define_i() {
        m_active = m_context.define.descriptor("Active");
        emit::MetricDefinition metric{.name = m_section.name, .group = m_section.feature};
        metric.type = emit::MetricType::TracedTransition;
        metric.tableClass = KERNEL_WAKELOCKS;
        metric.quantity = m_context.define.time();
        metric.legend = {m_active};
        metric.value = m_context.define.handle("Change");
        metric.state = m_context.define.handle("State");
        metric.entity = m_context.define.handle("Source");
        for (const Item& item : m_items) metric.entities.push_back(item.entity);
        m_section.metric = m_context.define.metric(metric);
    }

    // Reads where the source stands. Most stand still, and cost one read.
    bool read_i(Item& item, Ended& now) {
        std::uint64_t started = 0;
        std::uint64_t activeMsec = 0;
        std::uint64_t totalMsec = 0;
        if (!item.count.readUnsigned(started)) return false;
        if (item.last.known && started == item.counted && !item.last.active) {
            now = item.last;
            return true;
        }
        if (!item.active.readUnsigned(activeMsec) || !item.total.readUnsigned(totalMsec)) return false;
        // One that has lasted for less than a millisecond looks like none, until the next sample.
        const bool mayHaveBegun = item.last.known && started != item.counted && totalMsec == item.totalMsec;
        item.counted = started;
        item.totalMsec = totalMsec;
        now.active = activeMsec > 0 || mayHaveBegun;
        now.count = started - (now.active && started > 0 ? 1 : 0);
        now.msec = totalMsec - std::min(totalMsec, activeMsec);
        now.known = true;
        return true;
    }

    void sample_i(Item& item, std::uint64_t ticks) {
        Ended now;
        if (!read_i(item, now)) return;
        const Ended last = std::exchange(item.last, now);
        // Counters that fell have been reset with their device.
        if (!last.known || now.count < last.count || now.msec < last.msec) return;
        const std::uint64_t count = now.count - last.count;
        if (count == 0) {
            item.last.msec = last.msec;  // time without an end yet belongs to the activation that goes on
            return;
        }
        item.activations += count;
        item.activeTime += now.msec - last.msec;
        deliver_i(item, ticks, std::min({count, MOST_ACTIVATIONS, ticks - m_previous}), now.msec - last.msec);
    }

    // The kernel gives the sum of the durations only: each gets its share, and the ends are spread evenly.
    void deliver_i(const Item& item, std::uint64_t ticks, std::uint64_t count, std::uint64_t msec) {
        const auto sum =
            static_cast<std::uint64_t>(static_cast<double>(msec) * 1000.0 * m_context.ticksPerUsec);
        const std::uint64_t step = (ticks - m_previous) / count;
        const std::string head = emit::elementHead(item.entity, m_active);
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint64_t end = ticks - (count - 1 - i) * step;
            const std::uint64_t duration = sum / count + (i < sum % count ? 1 : 0);
            m_line.begin(m_section.metric, end);
            m_line.handle(head, std::min(duration, end), m_active);
            m_line.end();
        }
    }

    SourceContext& m_context;
    emit::Section m_section{0, "wakeup", "Kernel Wakeup Sources", ""};
    emit::MetricLine m_line;
    std::vector<Item> m_items;
    emit::Id m_active = 0;
    std::uint64_t m_previous = 0;  // ticks of the sample before
};

}  // namespace

SourcePtr makeWakeupSource(SourceContext& context) {
    return std::make_unique<WakeupSource>(context);
}

}  // namespace host::record
