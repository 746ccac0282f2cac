#include "host/importers/pwr_importer.h"

#include <algorithm>
#include <queue>
#include <utility>

#include "plugins/packing.h"
#include "pwr/bin/pwr_records.h"

namespace host::importers {

using namespace vyrta;
using inspect::ByteReader;
using inspect::PwrKind;
using inspect::PwrRecord;

namespace {

// No record is longer: its length has 16 bits and is counted from here at the latest.
constexpr std::size_t LONGEST_RECORD = 65536 + PROCESS_LENGTH_AT;

std::uint64_t timeOf(const PwrRecord& sample) {
    return readSample(sample).time;
}

}  // namespace

Sniff sniffPwr(std::string_view head, bool isWhole) {
    constexpr std::string_view PWR_MAGIC("\x00\x00\x00\x08\xFA\xDE\xDE\xAD", MAGIC_SIZE);
    if (head.starts_with(PWR_MAGIC)) return Sniff::Yes;
    return PWR_MAGIC.starts_with(head) && !isWhole ? Sniff::NeedsMore : Sniff::No;
}

std::unique_ptr<Importer> makePwrImporter(const ImportTarget& target) {
    return std::make_unique<PwrImporter>(target);
}

bool PwrImporter::read(Input& part, Damage& damage) {
    m_content = std::make_unique<SeekableContent>(part.seekableFile());
    const bool isWhole = index_i(part, damage);
    m_header.finish();
    deliver_i(part, isWhole);
    return isWhole;
}

bool PwrImporter::index_i(Input& part, Damage& damage) {
    BufferedBytes& content = part.content();
    std::string fault;
    while (fault.empty() && !part.isStopped()) {
        const std::string_view bytes = content.peek(LONGEST_RECORD);
        if (bytes.empty()) break;
        ByteReader file(bytes, content.offset());
        const auto record = inspect::nextPwrRecord(file, fault);
        if (!record) break;
        if (!m_content->add(record->bytes)) {
            fault = m_content->error();
            break;
        }
        indexRecord_i(*record);
        content.skip(record->bytes.size());
    }
    closeBlock_i(content.offset());
    if (fault.empty() && !m_isClosed && !part.isStopped())
        fault = "the file ends without the closing Magic record";
    damage = {content.offset(), fault};
    return fault.empty();
}

// Blocks stand in the order of their metrics' ids; that of wakelocks says nothing of its own.
void PwrImporter::closeBlock_i(std::uint64_t end) {
    if (!m_open) return;
    if (m_open->isOfWakelocks) m_open->metric.id = m_blocks.empty() ? 1 : m_blocks.back().metric.id + 1;
    m_blocks.push_back(
        {m_open->metric, ContentWindow(*m_content, m_open->begin, end), m_open->isOfWakelocks});
    m_open.reset();
}

void PwrImporter::indexRecord_i(const PwrRecord& record) {
    switch (record.kind) {
        case PwrKind::Magic:
            m_isClosed = ++m_magics > 1;
            return;
        case PwrKind::Metric:
            closeBlock_i(record.offset);
            m_open = std::make_unique<OpenBlock>();
            m_open->metric = metricOf(record);
            m_open->begin = record.offset + record.bytes.size();
            return;
        case PwrKind::Sample:
            return indexSample_i(record);
        case PwrKind::KernelWakelock:
        case PwrKind::UserWakelock:
        case PwrKind::Package:
            return indexWakelock_i(record);
        default:
            if (!m_isClosed) m_header.take(record);
    }
}

void PwrImporter::indexSample_i(const PwrRecord& record) {
    m_lastTime = std::max(m_lastTime, timeOf(record));
    const auto attributes = attributesOf(record);
    for (std::size_t i = 0; i + 1 < attributes.size(); ++i) {
        if (attributes[i].type != ATTRIBUTE_KIND_ENTITY || !isInfo(attributes[i + 1])) continue;
        auto& known = m_entityAttributes[attributes[i].value];
        if (known.empty())
            for (std::size_t j = i + 1; j < attributes.size() && isInfo(attributes[j]); ++j)
                known.push_back(attributes[j]);
    }
}

// A block of wakelocks has those of one kind. The package that one belongs to stands in front of it.
void PwrImporter::indexWakelock_i(const PwrRecord& record) {
    ++m_wakelocks;
    const auto open = [&](std::uint64_t begin) {
        closeBlock_i(begin);
        m_open = std::make_unique<OpenBlock>();
        m_open->begin = begin;
        m_open->isOfWakelocks = true;
    };
    if (!m_open || !m_open->isOfWakelocks) open(record.offset);
    if (record.kind == PwrKind::Package) {
        if (!m_open->package) m_open->package = record.offset;
        return;
    }
    m_lastTime = std::max(m_lastTime, readWakelock(record).time);
    if (m_open->wakelocks && *m_open->wakelocks != record.kind) open(m_open->package.value_or(record.offset));
    m_open->wakelocks = record.kind;
    m_open->package.reset();
}

// What a block has next; nothing at its end.
std::optional<PwrImporter::Item> PwrImporter::peek_i(Block& block) const {
    Item item;
    if (block.isOfWakelocks) {
        item.wakelock = peekWakelock(block.content);
        if (!item.wakelock) return std::nullopt;
        item.time = item.wakelock->time;
        item.size = item.wakelock->size;
        return item;
    }
    std::string_view bytes = block.content.peek(SAMPLE_HEAD_SIZE);
    if (bytes.size() < SAMPLE_HEAD_SIZE) return std::nullopt;
    const auto length = packing::get<std::uint16_t>(bytes.data() + TIMED_LENGTH_AT);
    bytes = block.content.peek(TIMED_LENGTH_AT + length);
    ByteReader file(bytes, block.content.offset());
    std::string fault;
    item.sample = inspect::nextPwrRecord(file, fault);
    if (!item.sample || item.sample->kind != PwrKind::Sample) return std::nullopt;
    item.time = timeOf(*item.sample);
    item.size = item.sample->bytes.size();
    return item;
}

void PwrImporter::writeSystem_i() {
    SystemDescription& system = m_header.system;
    system.stop = std::max(m_lastTime, system.start);
    if (system.tscMHz > 0)
        system.durationSec =
            static_cast<double>(system.stop - system.start) / static_cast<double>(system.tscMHz) / 1e6;
    writeSystem(system, m_target.lines);
}

// The blocks on their way to lines.
struct PwrImporter::Delivery {
    using Entry = std::pair<std::uint64_t, std::size_t>;  // time and block

    explicit Delivery(PwrImporter& importer)
        : order(importer.m_header),
          lines(importer.m_header, order.early(), importer.m_target.lines,
                importer.m_wakelocks + PwrWakelockLines::OWN_IDS),
          wakelocks(lines, importer.m_target.lines) {}

    void letAllTry() {
        for (const auto& [place, entry] : waiting) ready.push(entry);
        waiting.clear();
    }

    PwrOrder order;
    PwrLines lines;
    PwrWakelockLines wakelocks;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> ready;
    std::vector<std::pair<std::size_t, Entry>> waiting;  // by the place that they wait for
    bool isForced = false;                               // the next one is taken though its time has not come
    std::uint64_t time = 0;                              // of the last one
};

// Takes the earliest of the blocks' next samples, but none that would make a record of the header before its
// turn.
void PwrImporter::deliver_i(Input& part, bool isWhole) {
    writeSystem_i();
    Delivery delivery(*this);
    delivery.time = m_header.system.start;
    delivery.lines.setEntityAttributes(&m_entityAttributes);
    for (const Block& block : m_blocks)
        if (block.metric.metricClass == METRIC_CLASS_TRACED_FINITE_SET_COUNTER)
            delivery.lines.setTimeQuantity(block.metric.quantity);
    for (std::size_t i = 0; i < m_blocks.size(); ++i) push_i(delivery, i);
    while (m_target.lines.isOpen() && !part.isStopped()) {
        if (delivery.ready.empty() && !unblock_i(delivery, isWhole)) break;
        deliverNext_i(delivery);
    }
}

void PwrImporter::push_i(Delivery& delivery, std::size_t block) {
    if (const auto item = peek_i(m_blocks[block])) delivery.ready.emplace(item->time, block);
}

// Finds something to go on with where all blocks wait. False if there is nothing more.
bool PwrImporter::unblock_i(Delivery& delivery, bool isWhole) {
    // What is missing from a file that was cut may stand after the cut.
    const auto isKnown = [this](std::uint32_t id) {
        return std::any_of(m_blocks.begin(), m_blocks.end(),
                           [id](const Block& block) { return block.metric.id == id; });
    };
    while (isWhole && delivery.ready.empty()) {
        const auto metric = delivery.order.takeVoidMetric(isKnown);
        if (!metric) break;
        delivery.lines.voidMetric(metric->id, metric->timeline->name, metric->quantity, delivery.time);
        delivery.letAllTry();
    }
    if (!delivery.ready.empty()) return true;
    if (delivery.waiting.empty()) return false;
    // Records that no sample makes are of samples which are not in the file.
    const auto next = std::min_element(delivery.waiting.begin(), delivery.waiting.end());
    delivery.isForced = true;
    delivery.order.skipTo(next->first);
    delivery.ready.push(next->second);
    delivery.waiting.erase(next);
    return true;
}

void PwrImporter::deliverNext_i(Delivery& delivery) {
    const Delivery::Entry entry = delivery.ready.top();
    delivery.ready.pop();
    Block& block = m_blocks[entry.second];
    const auto item = peek_i(block);
    const std::size_t before = delivery.order.firstBefore(block.metric, !block.isBegun, *item);
    if (before != PwrHeader::NO_PLACE && !delivery.isForced) {
        delivery.waiting.emplace_back(before, entry);
        return;
    }
    const std::size_t placeBefore = delivery.isForced ? PwrHeader::NO_PLACE : delivery.order.next();
    delivery.isForced = false;
    delivery.time = item->time;
    delivery.order.mark(block.metric, !block.isBegun, *item);
    if (item->wakelock) {
        if (!block.isBegun) delivery.wakelocks.metric(block.metric.id, item->wakelock->isUsers);
        delivery.wakelocks.wakelock(block.metric.id, *item->wakelock);
    } else {
        if (!block.isBegun) delivery.lines.metric(block.metric);
        delivery.lines.sample(block.metric, *item->sample);
    }
    block.isBegun = true;
    block.content.skip(item->size);
    push_i(delivery, entry.second);
    if (delivery.order.next() != placeBefore) delivery.letAllTry();
}

}  // namespace host::importers
