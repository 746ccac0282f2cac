// The files of recorded kernel traces as input, trace.dat of versions 6 and 7.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/importers/importer.h"
#include "host/importers/input_kinds.h"
#include "host/importers/kernel/trace_builder.h"
#include "host/importers/kernel/tracedat_frames.h"

namespace host::importers {

Sniff sniffTracedat(std::string_view head, bool isWhole);
std::unique_ptr<Importer> makeTracedatImporter(const ImportTarget& target);

class TracedatImporter : public Importer {
public:
    explicit TracedatImporter(const ImportTarget& target) : m_target(target), m_builder(target) {}

    bool read(Input& part, Damage& damage) override;
    void finish() override;

private:
    bool read_i(Input& part, int file, std::uint64_t end, Damage& damage);
    bool receive_i(Input& part, int pipe, Damage& damage);
    void record_i(const TracedatRecord& record);
    std::size_t placeOf_i(kernel_events::NameId name);

    ImportTarget m_target;
    TraceBuilder m_builder;
    std::vector<std::size_t> m_places;  // in the tally, by name
    std::string m_name;                 // of the part
    std::uint64_t m_count = 0;          // records of the part
};

}  // namespace host::importers
