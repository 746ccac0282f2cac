// A source that reads counters of many devices from the lines of one file.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/record/sources/counters.h"
#include "host/record/watched_file.h"

namespace host::record {

// Devices come and go: one counts from the sample in which it is first seen.
class DeviceCounters {
public:
    struct Column {
        const char* name;
        std::size_t metric;       // index of the metric that it belongs to
        std::size_t field;        // among the numbers of a line
        std::uint64_t scale;      // units in one of the file's
        std::uint64_t range = 0;  // of the file's numbers, 0: of 64 bits
    };

    DeviceCounters(SourceContext& context, std::vector<Column> columns, std::vector<emit::CounterSpec> specs)
        : m_context(context), m_columns(std::move(columns)) {
        for (emit::CounterSpec& spec : specs)
            m_metrics.push_back(std::make_unique<emit::CounterMetric>(context, std::move(spec)));
    }

    // Adds what is there already, before `define`.
    void add(const std::string& device) { items_i(device); }
    void define() {
        for (const auto& metric : m_metrics) metric->define();
    }

    void baseline(std::uint64_t ticks) {
        for (const auto& metric : m_metrics) metric->baseline(ticks);
    }
    void begin(std::uint64_t ticks) {
        for (const auto& metric : m_metrics) metric->begin(ticks);
    }
    void end() {
        for (const auto& metric : m_metrics) metric->end();
    }

    // The numbers of a device's line, to count from or as a sample.
    void start(const std::string& device, const std::vector<std::uint64_t>& fields) {
        each_i(device, fields, [](emit::CounterMetric& metric, std::size_t item, std::uint64_t reading) {
            metric.start(item, reading);
        });
    }
    void take(const std::string& device, const std::vector<std::uint64_t>& fields) {
        each_i(device, fields, [](emit::CounterMetric& metric, std::size_t item, std::uint64_t reading) {
            metric.take(item, reading);
        });
    }

    void report(emit::Report& report) const {
        for (const auto& metric : m_metrics) metric->report(report);
    }

private:
    const std::vector<std::size_t>& items_i(const std::string& device) {
        std::vector<std::size_t>& items = m_items[device];
        if (!items.empty()) return items;
        const emit::Id entity = m_context.define.entity(device);
        for (const Column& column : m_columns)
            items.push_back(m_metrics[column.metric]->add(entity, column.name, {device, column.name},
                                                          column.range * column.scale));
        return items;
    }

    void each_i(const std::string& device, const std::vector<std::uint64_t>& fields, auto act) {
        const std::vector<std::size_t>& items = items_i(device);
        for (std::size_t i = 0; i < m_columns.size(); ++i) {
            const Column& column = m_columns[i];
            if (column.field < fields.size())
                act(*m_metrics[column.metric], items[i], fields[column.field] * column.scale);
        }
    }

    SourceContext& m_context;
    std::vector<Column> m_columns;
    std::vector<std::unique_ptr<emit::CounterMetric>> m_metrics;
    std::map<std::string, std::vector<std::size_t>> m_items;  // of each column, by device
};

}  // namespace host::record
