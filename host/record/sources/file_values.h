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
    FileValueSource(SourceContext& context, emit::ValueSpec spec, double divisor)
        : m_context(context), m_metric(context, std::move(spec)), m_divisor(divisor) {}

    // Adds a file that holds an entity's value, before prepare; `what` it is, if that is not the same for
    // all.
    void add(WatchedFile file, emit::Id entity, const std::string& name, const std::string& what = {}) {
        m_files.emplace_back(std::move(file), m_metric.add(entity, name, what));
    }

    // The same, with an entity of its own, if the file can be read. The name is made only then.
    void addReadable(const std::string& path, auto makeName) {
        WatchedFile file(m_context, path);
        if (!file.isReadable()) return;
        const std::string name = makeName();
        add(std::move(file), m_context.define.entity(name), name);
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

private:
    SourceContext& m_context;
    emit::ValueMetric m_metric;
    double m_divisor;
    std::vector<std::pair<WatchedFile, std::size_t>> m_files;
};

}  // namespace host::record
