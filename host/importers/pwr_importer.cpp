#include "host/importers/pwr_importer.h"

#include <algorithm>
#include <queue>
#include <utility>

#include "import/record_format.h"
#include "plugins/packing.h"

namespace host::importers {

using namespace vyrta;
using inspect::ByteReader;
using inspect::PwrKind;
using inspect::PwrRecord;

namespace {

// No record is longer: its length has 16 bits and is counted from here at the latest.
constexpr std::size_t LONGEST_RECORD = 65536 + PROCESS_LENGTH_AT;

std::uint64_t timeOf(const PwrRecord& sample) {
    return sample.fieldsFrom(4).get<std::uint64_t>();
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
    deliver_i(part);
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
            m_open->metric = PwrLines::metricOf(record);
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
    const auto attributes = PwrLines::attributesOf(record);
    for (std::size_t i = 0; i + 1 < attributes.size(); ++i) {
        if (attributes[i].type != ATTRIBUTE_KIND_ENTITY || !PwrLines::isInfo(attributes[i + 1])) continue;
        auto& known = m_entityAttributes[attributes[i].value];
        if (known.empty())
            for (std::size_t j = i + 1; j < attributes.size() && PwrLines::isInfo(attributes[j]); ++j)
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
    m_lastTime = std::max(m_lastTime, record.fieldsFrom(12).get<std::uint64_t>());
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

// Calls `visit` with the place of a thing behind those of the things that it refers to as its parents.
void PwrImporter::visitFamily_i(std::string_view kind, std::uint64_t id, auto visit) const {
    // Families do not go round in circles in a sound file.
    constexpr int MOST_GENERATIONS = 64;
    std::size_t places[MOST_GENERATIONS];
    int count = 0;
    for (const PwrHeader::Info* info = m_header.find(kind, id); info != nullptr && count < MOST_GENERATIONS;
         info = info->parent != NO_ID ? m_header.find(kind, info->parent) : nullptr)
        places[count++] = info->place;
    while (count > 0) visit(places[--count]);
}

// Calls `visit` with the places of the process and the thread that held a wakelock.
template <typename Visit>
void PwrImporter::visitRunners_i(const Wakelock& wakelock, Visit visit) const {
    if (const auto* process = m_header.findProcess(wakelock.pid, wakelock.lockTime)) visit(process->place);
    if (const auto* thread = m_header.findThread(wakelock.tid, wakelock.time)) visit(thread->place);
}

// Calls `visit` with the places of all header records that a sample needs, in the order in which it makes
// them if they are not there yet.
template <typename Visit>
void PwrImporter::visitNeeds_i(const Block& block, const Item& item, Visit visit) const {
    if (item.wakelock) return visitRunners_i(*item.wakelock, visit);
    const auto info = [&](std::string_view kind, std::uint64_t id) {
        if (const PwrHeader::Info* const found = m_header.find(kind, id)) visit(found->place);
    };
    if (!block.isBegun) {
        info("tab_group", block.metric.tabGroup);
        info("timeline_group", block.metric.timelineGroup);
        visitFamily_i("quantity", block.metric.quantity, visit);
    }
    for (const PwrLines::Attribute& attribute : PwrLines::attributesOf(*item.sample)) {
        switch (attribute.type) {
            case ATTRIBUTE_KIND_ENTITY:
                visitFamily_i("entity", attribute.value, visit);
                break;
            case ATTRIBUTE_KIND_FIELD:
                info("field", attribute.value);
                break;
            case ATTRIBUTE_KIND_COLOR:
                info("color", attribute.value);
                break;
            case ATTRIBUTE_KIND_INFO:
                info("nameid_attribute", attribute.value);
                break;
            case ATTRIBUTE_KIND_PROCESS:
                if (const auto* process = m_header.findProcess(attribute.value, item.time))
                    visit(process->place);
                break;
            case ATTRIBUTE_KIND_THREAD:
                if (const auto* thread = m_header.findThread(attribute.value, item.time))
                    visit(thread->place);
                break;
            case ATTRIBUTE_KIND_QUANTITY:
                visitFamily_i("quantity", attribute.value, visit);
                break;
            default:
                break;
        }
    }
}

// The place of the first record that would not come in its turn; NO_PLACE if the sample's time has come.
std::size_t PwrImporter::firstBefore_i(const Block& block, const Item& item) const {
    std::size_t first = PwrHeader::NO_PLACE;
    std::size_t next = m_nextPlace;
    visitNeeds_i(block, item, [&](std::size_t place) {
        if (m_isUsed[place] || place < next || first != PwrHeader::NO_PLACE) return;
        if (place != next) first = place;
        do ++next;
        while (next < m_isUsed.size() && m_isUsed[next]);
    });
    return first;
}

void PwrImporter::markNeeds_i(const Block& block, const Item& item) {
    visitNeeds_i(block, item, [this](std::size_t place) { m_isUsed[place] = true; });
    while (m_nextPlace < m_isUsed.size() && m_isUsed[m_nextPlace]) ++m_nextPlace;
}

// Takes the earliest of the blocks' next samples, but none that would make a record of the header before its
// turn.
void PwrImporter::deliver_i(Input& part) {
    SystemDescription& system = m_header.system;
    system.stop = std::max(m_lastTime, system.start);
    if (system.tscMHz > 0)
        system.durationSec =
            static_cast<double>(system.stop - system.start) / static_cast<double>(system.tscMHz) / 1e6;
    writeSystem(system, m_target.lines);
    m_isUsed.assign(m_header.places, false);
    PwrLines lines(m_header, m_target.lines, m_wakelocks + PwrWakelockLines::OWN_IDS);
    PwrWakelockLines wakelocks(lines, m_target.lines);
    lines.setEntityAttributes(&m_entityAttributes);
    for (const Block& block : m_blocks)
        if (block.metric.metricClass == METRIC_CLASS_TRACED_FINITE_SET_COUNTER)
            lines.setTimeQuantity(block.metric.quantity);

    using Entry = std::pair<std::uint64_t, std::size_t>;  // time and block
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> ready;
    std::vector<std::pair<std::size_t, Entry>> waiting;  // by the place that they wait for
    bool isForced = false;
    const auto push = [&](std::size_t block) {
        if (const auto item = peek_i(m_blocks[block])) ready.emplace(item->time, block);
    };
    for (std::size_t i = 0; i < m_blocks.size(); ++i) push(i);
    while ((!ready.empty() || !waiting.empty()) && m_target.lines.isOpen() && !part.isStopped()) {
        if (ready.empty()) {
            // Records that no sample makes are of samples which are not in the file.
            const auto next = std::min_element(waiting.begin(), waiting.end());
            isForced = true;
            m_nextPlace = next->first;
            ready.push(next->second);
            waiting.erase(next);
        }
        const Entry entry = ready.top();
        ready.pop();
        Block& block = m_blocks[entry.second];
        const auto item = peek_i(block);
        const std::size_t before = firstBefore_i(block, *item);
        if (before != PwrHeader::NO_PLACE && !isForced) {
            waiting.emplace_back(before, entry);
            continue;
        }
        const std::size_t placeBefore = isForced ? PwrHeader::NO_PLACE : m_nextPlace;
        isForced = false;
        if (m_nextPlace < m_isUsed.size()) markNeeds_i(block, *item);
        if (item->wakelock) {
            if (!block.isBegun) wakelocks.metric(block.metric.id, item->wakelock->isUsers);
            wakelocks.wakelock(block.metric.id, *item->wakelock);
        } else {
            if (!block.isBegun) lines.metric(block.metric);
            lines.sample(block.metric, *item->sample);
        }
        block.isBegun = true;
        block.content.skip(item->size);
        push(entry.second);
        if (m_nextPlace == placeBefore) continue;
        for (const auto& [place, blocked] : waiting) ready.push(blocked);
        waiting.clear();
    }
}

}  // namespace host::importers
