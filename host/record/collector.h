// A collection from its preparation to the last line that it delivers.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/emit/definitions.h"
#include "host/emit/save_file.h"
#include "host/emit/spool.h"
#include "host/record/clock.h"
#include "host/record/cpus.h"
#include "host/record/machine.h"
#include "host/record/record.h"
#include "host/record/source.h"

namespace host::record {

class Collector {
public:
    // `tell` gets the lines for the user, without line ends. The clock and the root outlive this object.
    Collector(const RecordOptions& options, const Root& root, Clock& clock, emit::LineSink sink,
              std::function<void(const std::string&)> tell);
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;
    ~Collector();

    // Collects and delivers. To be called once.
    RecordResult run();

private:
    void prepare_i();
    void collect_i();
    void sample_i(std::uint64_t ticks);
    void flush_i(std::uint64_t stop);
    bool deliver_i(std::string_view line);
    void writeSystem_i(std::uint64_t stop);
    void writeStop_i(std::uint64_t stop);
    void writeReport_i();
    void writeHead_i(emit::Report& report);
    RecordResult finish_i();

    double seconds_i(std::uint64_t ticks) const;
    std::uint64_t ticks_i(double seconds) const;

    const RecordOptions& m_options;
    const Root& m_root;
    Clock& m_clock;
    emit::LineSink m_sink;
    std::function<void(const std::string&)> m_tell;

    std::optional<emit::SaveFile> m_save;
    emit::Spool m_spool;
    emit::Output m_output;  // to the spool, later to the sink
    emit::Definitions m_definitions;
    StatFile m_stat;
    Machine m_machine;
    std::unique_ptr<Cpus> m_cpus;
    std::unique_ptr<SourceContext> m_context;
    std::vector<SourcePtr> m_sources;
    std::vector<std::string> m_absent;  // subjects that this machine has nothing of

    std::int64_t m_wallStart = 0;  // nanoseconds since 1970
    std::uint64_t m_start = 0;     // ticks
    std::uint64_t m_last = 0;      // of the last sample
    std::uint64_t m_stop = 0;
    std::uint64_t m_samples = 0;
    bool m_interrupted = false;
    bool m_refused = false;
    bool m_failed = false;
};

}  // namespace host::record
