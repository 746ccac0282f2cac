#include "bench/row_store.h"

#include <charconv>
#include <cstdlib>
#include <string>

#include "overtime/backing_store_wrapper.h"
#include "plugins/output_file.h"

namespace bench {

namespace {

constexpr std::uint16_t COLUMNS = 16;

std::vector<std::string> textsOf(const PlainElements& elements) {
    std::vector<std::string> texts;
    texts.reserve(elements.size());
    for (const double value : elements.value) {
        char text[64];
        texts.emplace_back(text,
                           std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 2).ptr);
    }
    return texts;
}

}  // namespace

void runRowStore(const PlainElements& elements, Cost& cost) {
    const std::vector<std::string> texts = textsOf(elements);
    const double start = cpuNs();
    BackingStoreWrapper table("Table", "");
    for (std::uint16_t i = 0; i < COLUMNS; ++i) table.addColumn("Column");
    std::uint16_t column = 0;
    for (const std::string& text : texts) {
        table.pushCell(text, column);
        if (++column == COLUMNS) {
            table.rowComplete();
            column = 0;
        }
    }
    const double spooled = cpuNs();
    FilePtr file = openFile("table", "wb");
    const bool printed = file != nullptr && table.flush(file.get(), ",", false) == 0;
    if (!printed || !finishFile(std::move(file), "table")) std::_Exit(1);
    cost.ingestNs = spooled - start;
    cost.finiNs = cpuNs() - spooled;
}

}  // namespace bench
