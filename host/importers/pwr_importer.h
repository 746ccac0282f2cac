// The import trace as input; docs/formats/pwr.md describes the file.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/importers/importer.h"
#include "host/importers/input_kinds.h"
#include "host/importers/pwr_header.h"
#include "host/importers/pwr_lines.h"
#include "host/importers/pwr_order.h"
#include "host/importers/pwr_wakelocks.h"
#include "host/importers/seekable_content.h"

namespace host::importers {

Sniff sniffPwr(std::string_view head, bool isWhole);
std::unique_ptr<Importer> makePwrImporter(const ImportTarget& target);

// The samples of the file stand metric by metric. A first pass finds where each begins and what the header
// defines; a second one makes messages of the samples in the order of time, as far as the order in which the
// header's records came about allows it.
class PwrImporter : public Importer {
public:
    explicit PwrImporter(const ImportTarget& target) : m_target(target) {}

    bool read(Input& part, Damage& damage) override;

private:
    struct Block {
        PwrLines::MetricRecord metric;
        ContentWindow content;
        bool isOfWakelocks = false;
        bool isBegun = false;
    };
    using Item = PwrOrder::Item;
    struct Delivery;
    // The block that is being indexed.
    struct OpenBlock {
        PwrLines::MetricRecord metric;
        std::uint64_t begin = 0;
        bool isOfWakelocks = false;
        std::optional<inspect::PwrKind> wakelocks;  // their kind, once it is known
        std::optional<std::uint64_t> package;       // offset of the package record in front of the next lock
    };

    bool index_i(Input& part, Damage& damage);
    void indexRecord_i(const inspect::PwrRecord& record);
    void indexSample_i(const inspect::PwrRecord& record);
    void indexWakelock_i(const inspect::PwrRecord& record);
    void closeBlock_i(std::uint64_t end);
    void writeSystem_i();
    void deliver_i(Input& part, bool isWhole);
    void push_i(Delivery& delivery, std::size_t block);
    bool unblock_i(Delivery& delivery, bool isWhole);
    void deliverNext_i(Delivery& delivery);
    std::optional<Item> peek_i(Block& block) const;

    ImportTarget m_target;
    PwrHeader m_header;
    std::unique_ptr<SeekableContent> m_content;
    std::vector<Block> m_blocks;
    std::unique_ptr<OpenBlock> m_open;
    bool m_isClosed = false;  // the second magic record has come
    std::size_t m_magics = 0;
    std::uint64_t m_lastTime = 0;
    std::uint32_t m_wakelocks = 0;  // their records
    std::unordered_map<std::uint64_t, std::vector<PwrLines::Attribute>> m_entityAttributes;
};

}  // namespace host::importers
