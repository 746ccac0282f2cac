#include "host/importers/kernel/turbostat_importer.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "host/base/text.h"
#include "host/importers/kernel/line_splitter.h"

namespace host::importers {

namespace {

constexpr std::uint64_t MOST_TOLD = 10;  // malformed lines

// Cells are separated by tabs, and may be empty then, or by blanks.
void split(std::string_view line, std::vector<std::string_view>& cells) {
    cells.clear();
    const bool hasTabs = line.find('\t') != std::string_view::npos;
    while (!line.empty()) {
        const std::size_t end = std::min(line.find(hasTabs ? '\t' : ' '), line.size());
        if (hasTabs || end > 0) cells.push_back(base::trimmed(line.substr(0, end)));
        line.remove_prefix(std::min(end + 1, line.size()));
    }
}

bool isHeader(const std::vector<std::string_view>& cells) {
    return std::any_of(cells.begin(), cells.end(), [](std::string_view cell) {
        return cell == "Avg_MHz" || cell == "Bzy_MHz" || cell == "Busy%" || cell == "TSC_MHz" ||
               cell == "PkgWatt";
    });
}

bool readReal(std::string_view text, double& value) {
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && stop == text.data() + text.size();
}

std::string_view unitsOf(std::string_view name) {
    if (name.find("MHz") != std::string_view::npos) return "MHz";
    if (name.find('%') != std::string_view::npos) return "%";
    if (name.ends_with("Tmp")) return "C";
    if (name.ends_with("Watt")) return "W";
    if (name.ends_with("_J")) return "J";
    return "";
}

bool isAnyOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

Sniff sniffTurbostat(std::string_view head, bool isWhole) {
    constexpr std::size_t MOST = 3072;  // so much may stand before the header
    const bool isLong = head.size() > MOST;
    std::vector<std::string_view> cells;
    bool isAnnounced = false;
    while (!head.empty()) {
        const bool isEnded = head.find('\n') != std::string_view::npos;
        std::string_view line;
        base::takeLine(head, line);
        isAnnounced = isAnnounced || line.starts_with("turbostat version");
        if (isAnnounced) return Sniff::Yes;
        if (line.starts_with('{') || line.starts_with('#')) return Sniff::No;
        if (!isEnded && !isWhole) break;
        split(line, cells);
        if (isHeader(cells)) return Sniff::Yes;
        if (!base::trimmed(line).empty()) return Sniff::No;
    }
    return isWhole || isLong ? Sniff::No : Sniff::NeedsMore;
}

std::unique_ptr<Importer> makeTurbostatImporter(const ImportTarget& target) {
    return std::make_unique<TurbostatImporter>(target);
}

TurbostatImporter::Of TurbostatImporter::ofColumn_i(std::string_view name) {
    if (isAnyOf(name, {"CPU", "Core", "Package", "Die", "Node", "APIC", "X2APIC", "Time_Of_Day_Seconds"}))
        return Of::Key;
    if (isAnyOf(name, {"CoreTmp", "CoreThr", "CPU%c3", "CPU%c4", "CPU%c5", "CPU%c6", "CPU%c7"}) ||
        name.starts_with("Mod%"))
        return Of::Core;
    for (const char* const prefix : {"Pk", "Cor", "GFX", "RAM", "Tot", "Any", "SYS"})
        if (name.starts_with(prefix)) return Of::Package;
    return Of::Cpu;
}

void TurbostatImporter::header_i() {
    m_columns.clear();
    for (const std::string_view name : m_cells)
        m_columns.push_back({std::string(name), unitsOf(name), ofColumn_i(name)});
}

std::string TurbostatImporter::entity_i(const Row& row, Of of) const {
    if (row.cpu.empty() || row.cpu == "-") return "System";
    if (of == Of::Core) return "Core" + std::string(row.core.empty() ? row.cpu : row.core);
    if (of == Of::Package) return "Package" + std::string(row.package.empty() ? "0" : row.package);
    return "CPU" + std::string(row.cpu);
}

// A sample begins where a row comes that the one before had already, the first one being that of the system,
// and after a row that could not begin one.
bool TurbostatImporter::placeRow_i(const Row& row) {
    const std::string key = entity_i(row, Of::Cpu);
    const bool isNew = m_seen.empty() || key == "System" || m_seen.count(key) > 0;
    if (isNew) m_seen.clear();
    if (isNew && !beginSample_i(row)) return false;
    m_seen.insert(key);
    return true;
}

bool TurbostatImporter::beginSample_i(const Row& row) {
    constexpr double LATEST = 9.2e9;  // seconds since 1970 that nanoseconds can hold
    if (row.time < 0 || row.time > LATEST) return false;
    const auto interval = static_cast<std::uint64_t>(std::llround(m_target.intervalSec * 1e9));
    std::uint64_t stamp = (m_builder.samples() + 1) * interval;
    m_hasTime = row.time > 0;
    if (m_hasTime) stamp = static_cast<std::uint64_t>(std::llround(row.time * 1e6)) * 1000;
    if (m_builder.samples() > 0 && stamp <= m_stamp) return false;
    m_builder.begin(stamp, m_builder.samples() > 0 ? stamp - m_stamp : std::min(interval, stamp));
    m_stamp = stamp;
    return true;
}

bool TurbostatImporter::row_i() {
    Row row;
    if (m_cells.size() > m_columns.size()) return false;
    std::vector<double> values(m_cells.size(), std::nan(""));
    for (std::size_t i = 0; i < m_cells.size(); ++i) {
        const std::string_view cell = m_cells[i];
        const std::string& name = m_columns[i].name;
        if (name == "CPU") row.cpu = cell;
        if (name == "Core") row.core = cell;
        if (name == "Package") row.package = cell;
        if (!cell.empty() && cell != "-" && !readReal(cell, values[i])) return false;
        if (name == "Time_Of_Day_Seconds") row.time = values[i];
    }
    if (!placeRow_i(row)) return false;
    for (std::size_t i = 0; i < m_cells.size(); ++i)
        if (m_columns[i].of != Of::Key)
            m_builder.add(m_columns[i].name, m_columns[i].units, entity_i(row, m_columns[i].of), values[i]);
    return true;
}

// False if the line is malformed.
bool TurbostatImporter::line_i(std::string_view line) {
    split(line, m_cells);
    const bool isTable = isHeader(m_cells);
    if (isTable) header_i();
    if (isTable || m_columns.empty() || base::trimmed(line).empty()) {
        ++m_other;
        return true;
    }
    if (!row_i()) return false;
    ++m_mapped;
    return true;
}

bool TurbostatImporter::read(Input& part, Damage&) {
    LineSplitter lines(part.content());
    std::string_view line;
    m_lines = m_mapped = m_malformed = m_other = 0;
    while (lines.next(line) && !part.isStopped()) {
        ++m_lines;
        if (!line_i(line) && ++m_malformed <= MOST_TOLD)
            m_target.tell(part.name() + ":" + std::to_string(m_lines) + ": no row of the table");
    }
    m_target.tell(part.name() + ": " + std::to_string(m_lines) + " lines: " + std::to_string(m_mapped) +
                  " mapped, 0 unknown, " + std::to_string(m_malformed) + " malformed, " +
                  std::to_string(m_other) + " other, 0 lost");
    if (m_malformed > 0 || m_mapped == 0) m_target.fail({});
    return true;
}

void TurbostatImporter::finish() {
    m_builder.finish({}, m_hasTime);
}

}  // namespace host::importers
