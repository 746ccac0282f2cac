// Measures the summary report: filing a cell against a loop of fwrite and fflush of the same bytes, and the
// replay into the report in bytes of cells per second.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/measure.h"
#include "host/model/environment.h"
#include "host/model/handles.h"
#include "host/model/loggers.h"
#include "host/model/table.h"
#include "summary/summarywriter_plugin.h"

namespace {

constexpr unsigned ROUNDS = 7;

// The shape of a report. Every cell has `cellBytes` bytes.
struct Shape {
    const char* name;
    std::uint32_t tables;
    std::uint32_t rows;  // of each table
    std::uint32_t columns;
    std::size_t cellBytes;

    std::uint64_t cells() const { return std::uint64_t{tables} * rows * columns; }
    double bytes() const { return static_cast<double>(cells()) * static_cast<double>(cellBytes); }
};

const Shape SHAPES[] = {
    {"200 tables of 100 rows, cells of 8 bytes", 200, 100, 5, 8},
    {"one table of 100,000 cells of 8 bytes", 1, 20000, 5, 8},
    {"one table of 100,000 cells of 24 bytes", 1, 20000, 5, 24},
    {"one table of 100 cells of 1 MiB", 1, 20, 5, 1 << 20},
};

// The tables of a shape, with the cells of one row filled in.
class Tables {
public:
    explicit Tables(const Shape& shape) {
        for (std::uint32_t i = 0; i < shape.columns; ++i)
            m_handles.push_back(std::make_unique<host::model::Handle>(
                i + 1, host::model::HandleTexts("Column " + std::to_string(i)), 1));
        for (std::uint32_t i = 0; i < shape.tables; ++i) {
            host::model::TableColumns columns;
            columns.m_container = 1 + i / 4;
            columns.m_id = i;
            columns.m_title = "Table " + std::to_string(i);
            for (const auto& handle : m_handles) columns.m_handles.push_back(handle.get());
            columns.index();
            m_tables.push_back(std::make_unique<host::model::Table>(std::move(columns)));
            const host::model::Cell cell{host::model::Cell::Kind::Text, std::string(shape.cellBytes, '7')};
            for (std::size_t column = 0; column < shape.columns; ++column)
                m_tables.back()->m_rowMessage.m_row.m_cells.push_back(cell);
        }
    }

    const std::vector<std::unique_ptr<host::model::Table>>& get() const { return m_tables; }

private:
    std::vector<std::unique_ptr<host::model::Handle>> m_handles;
    std::vector<std::unique_ptr<host::model::Table>> m_tables;
};

void writeReport(const Shape& shape, const Tables& tables, bench::Cost& cost) {
    SummaryWriter writer;
    writer.init("report", false);
    for (const auto& table : tables.get()) writer.writeMessage(table->m_announcement);
    const double start = bench::cpuNs();
    for (std::uint32_t row = 0; row < shape.rows; ++row)
        for (const auto& table : tables.get()) writer.writeMessage(table->m_rowMessage);
    const double filed = bench::cpuNs();
    writer.fini();
    cost.finiNs = bench::cpuNs() - filed;
    cost.ingestNs = filed - start;
}

// What filing costs at least: each cell of each table written to the table's file and flushed.
void writeFloor(const Shape& shape, const Tables& tables, bench::Cost& cost) {
    std::vector<FilePtr> files;
    for (std::uint32_t i = 0; i < shape.tables; ++i)
        files.emplace_back(std::fopen(("floor" + std::to_string(i)).c_str(), "wb"));
    const double start = bench::cpuNs();
    for (std::uint32_t row = 0; row < shape.rows; ++row) {
        for (std::uint32_t i = 0; i < shape.tables; ++i) {
            for (const auto& cell : tables.get()[i]->m_rowMessage.m_row.m_cells) {
                const auto length = static_cast<std::uint32_t>(cell.m_text.size());
                std::fwrite(&length, sizeof length, 1, files[i].get());
                std::fwrite(cell.m_text.data(), 1, cell.m_text.size(), files[i].get());
                std::fflush(files[i].get());
            }
        }
    }
    cost.ingestNs = bench::cpuNs() - start;
}

void measure(const Shape& shape) {
    const Tables tables(shape);
    const auto cells = static_cast<double>(shape.cells());
    std::vector<double> filing;
    std::vector<double> ratio;
    std::vector<double> replay;
    for (unsigned i = 0; i < ROUNDS; ++i) {
        const bench::Cost floor =
            bench::measureInChild("floor", [&](bench::Cost& cost) { writeFloor(shape, tables, cost); });
        const bench::Cost report =
            bench::measureInChild("report", [&](bench::Cost& cost) { writeReport(shape, tables, cost); });
        filing.push_back(report.ingestNs / cells);
        ratio.push_back(report.ingestNs / floor.ingestNs);
        replay.push_back(shape.bytes() / report.finiNs * 1e3);
    }
    const bench::Spread spreads[] = {bench::spreadOf(filing), bench::spreadOf(ratio),
                                     bench::spreadOf(replay)};
    std::printf("%-42s %9.0f ns per cell   %5.2f x floor (%.2f to %.2f)   replay %6.0f MB/s (%.0f to %.0f)\n",
                shape.name, spreads[0].median, spreads[1].median, spreads[1].min, spreads[1].max,
                spreads[2].median, spreads[2].min, spreads[2].max);
}

}  // namespace

// With the argument --smoke only the first shape.
int main(int argc, char** argv) {
    const bool smoke = argc > 1 && std::string(argv[1]) == "--smoke";
    host::model::DescriptorLogger log(2);
    const host::model::Environment environment(log, log);
    for (const Shape& shape : SHAPES) {
        measure(shape);
        if (smoke) break;
    }
}
