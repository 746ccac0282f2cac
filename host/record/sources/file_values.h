// A source that reads one number from each of several files.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/emit/value_metric.h"
#include "host/record/watched_file.h"

namespace host::record {

class FileValueSource : public Source {
public:
    // Numbers in the files are `divisor` times the value.
    FileValueSource(SourceContext& context, emit::ValueSpec spec, double divisor, std::string subject)
        : m_metric(context, std::move(spec)), m_divisor(divisor), m_subject(std::move(subject)) {}

    // Adds a file that holds an entity's value, before prepare. Files that can't be read are left out.
    void add(WatchedFile file, emit::Id entity, const std::string& name) {
        m_files.emplace_back(std::move(file), m_metric.add(entity, name));
    }

    bool prepare() override {
        if (!m_files.empty()) m_metric.define();
        return !m_files.empty();
    }
    void baseline(std::uint64_t ticks) override { m_metric.baseline(ticks); }
    void sample(std::uint64_t ticks) override {
        m_metric.begin(ticks);
        for (auto& [file, item] : m_files) {
            std::int64_t number = 0;
            if (file.readSigned(number)) m_metric.takeReal(item, static_cast<double>(number) / m_divisor);
        }
        m_metric.end();
    }
    void report(emit::Report& report) override { m_metric.report(report); }
    std::string subject() const override { return m_subject; }

private:
    emit::ValueMetric m_metric;
    double m_divisor;
    std::string m_subject;
    std::vector<std::pair<WatchedFile, std::size_t>> m_files;
};

}  // namespace host::record
