// Kernel traces in text as input: the trace file, reports of recorded traces, pages that hold a trace, and
// scripts of profiles.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/importers/importer.h"
#include "host/importers/input_kinds.h"
#include "host/importers/kernel/ftrace_fields.h"
#include "host/importers/kernel/trace_builder.h"

namespace host::importers {

Sniff sniffFtrace(std::string_view head, bool isWhole);
std::unique_ptr<Importer> makeFtraceImporter(const ImportTarget& target);

class FtraceImporter : public Importer {
public:
    explicit FtraceImporter(const ImportTarget& target) : m_target(target), m_builder(target) {}

    bool read(Input& part, Damage& damage) override;
    void finish() override;

private:
    // What is known of the events of a name.
    struct Known {
        FieldsReader read = nullptr;
        std::size_t place = 0;  // in the tally
        bool isSeen = false;
    };

    // Where in a page lines are read: not in its other parts.
    enum class Page : std::uint8_t { None, Outside, Unsure, Inside };

    void line_i(std::string_view line);
    bool isOfPage_i(std::string_view text);
    bool isOther_i(std::string_view text);
    bool isLoss_i(std::string_view text);
    bool isLossOfProfile_i(const FtraceLine& line);
    void event_i(const FtraceLine& line);
    void lose_i(std::uint32_t cpu, std::uint64_t count);
    void tellLoss_i(std::uint32_t cpu, std::uint64_t stamp);
    void malformed_i(const std::string& what);
    const Known& known_i(std::string_view event);

    ImportTarget m_target;
    TraceBuilder m_builder;
    std::vector<Known> m_known;           // by name
    std::vector<std::uint64_t> m_losses;  // by CPU, that have not been told: they stand before the next event
    Page m_page = Page::None;
    std::string m_name;        // of the part
    std::uint64_t m_line = 0;  // of the part
};

}  // namespace host::importers
