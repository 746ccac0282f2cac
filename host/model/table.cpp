#include "host/model/table.h"

#include <algorithm>
#include <utility>

namespace host::model {

namespace {

template <typename Handle>
void indexHandles(const std::vector<const Handle*>& handles,
                  std::unordered_map<const Handle*, std::size_t>& index) {
    index.reserve(handles.size());
    for (std::size_t i = 0; i < handles.size(); ++i) index.emplace(handles[i], i);
}

template <typename Key>
std::optional<std::size_t> placeOf(const std::unordered_map<Key, std::size_t>& index, const Key& key) {
    const auto found = index.find(key);
    if (found == index.end()) return std::nullopt;
    return found->second;
}

// Null is a cell that is not given, such as all of an announcement: they read as empty.
int readCell(const Cell* cell, std::string& out, bool& valid) {
    if (cell != nullptr && cell->m_kind == Cell::Kind::Absent) return 1;
    valid = cell != nullptr && cell->m_kind == Cell::Kind::Text;
    if (valid) {
        out = cell->m_text;
    } else {
        out.clear();
    }
    return 0;
}

}  // namespace

TableSnapshot::TableSnapshot(const TableColumns& columns, pwr::TableMessageType type)
    : m_columns(columns), m_type(type) {
    m_id = columns.m_id;
    m_metricContainerId = columns.m_container;
}

void TableColumns::index() {
    indexHandles(m_shared, m_sharedIndex);
    indexHandles(m_handles, m_handleIndex);
    m_entityIndex.reserve(m_entities.size());
    std::size_t place = 0;
    for (const pwr::EntityHandle* entity : m_entities) m_entityIndex.emplace(entity->getId(), place++);
}

std::size_t TableColumns::cellCount() const {
    return m_handles.size() * (m_entities.empty() ? 1 : m_entities.size());
}

std::optional<std::size_t> TableColumns::sharedCell(const pwr::DataHandle* handle) const {
    return placeOf(m_sharedIndex, handle);
}

std::optional<std::size_t> TableColumns::fieldCell(const pwr::DataHandle* handle) const {
    return placeOf(m_handleIndex, handle);
}

std::optional<EntityCell> TableColumns::entityCell(const pwr::EntityHandle* entity,
                                                   const pwr::DataHandle* handle) const {
    if (entity == nullptr) return std::nullopt;
    const auto row = placeOf(m_entityIndex, std::uint64_t{entity->getId()});
    const auto column = placeOf(m_handleIndex, handle);
    if (!row.has_value() || !column.has_value()) return std::nullopt;
    return EntityCell{*row, *column};
}

Table::Table(TableColumns columns)
    : m_columns(std::move(columns)),
      m_announcement(m_columns, pwr::TABLE_ANNOUNCEMENT),
      m_rowMessage(m_columns, pwr::TABLE_ROW) {}

}  // namespace host::model

namespace pwr {

namespace {

const host::model::TableSnapshot& snapshotOf(const TableMessage* message) {
    return *static_cast<const host::model::TableSnapshot*>(message);
}

const host::model::TableColumns& columnsOf(const TableMessage* message) {
    return snapshotOf(message).m_columns;
}

constexpr std::uint8_t MESSAGE_TABLE = 4;  // no writer inspects it

}  // namespace

TableMessage::TableMessage() = default;
TableMessage::TableMessage(const TableMessage& other) = default;
TableMessage::~TableMessage() = default;

std::uint8_t TableMessage::getMessageType() const {
    return MESSAGE_TABLE;
}

int TableMessage::isNonSummary() const {
    return columnsOf(this).m_isSummary ? 0 : 1;
}

TableMessage::HandleIterator TableMessage::sharedHandlesBegin() const {
    return columnsOf(this).m_shared.begin();
}

TableMessage::HandleIterator TableMessage::sharedHandlesEnd() const {
    return columnsOf(this).m_shared.end();
}

TableMessage::HandleIterator TableMessage::handlesBegin() const {
    return columnsOf(this).m_handles.begin();
}

TableMessage::HandleIterator TableMessage::handlesEnd() const {
    return columnsOf(this).m_handles.end();
}

TableMessage::EntityIterator TableMessage::entitiesBegin() const {
    return columnsOf(this).m_entities.begin();
}

TableMessage::EntityIterator TableMessage::entitiesEnd() const {
    return columnsOf(this).m_entities.end();
}

const std::string& TableMessage::getTitle() const {
    return columnsOf(this).m_title;
}

const Quantity* TableMessage::getQuantity() const {
    return columnsOf(this).m_quantity;
}

std::size_t TableMessage::getHandleCount() const {
    return columnsOf(this).m_handles.size();
}

std::size_t TableMessage::getSharedHandleCount() const {
    return columnsOf(this).m_shared.size();
}

std::size_t TableMessage::getEntityCount() const {
    return columnsOf(this).m_entities.size();
}

std::size_t TableMessage::getFieldCount() const {
    const host::model::TableColumns& columns = columnsOf(this);
    return columns.m_shared.size() + columns.cellCount();
}

std::uint8_t TableMessage::getTableMessageType() const {
    return snapshotOf(this).m_type;
}

const TextNotes* TableMessage::getTextNotes() const {
    const auto& notes = columnsOf(this).m_notes;
    return notes.has_value() ? &*notes : nullptr;
}

bool TableMessage::hasFieldHeaders() const {
    return columnsOf(this).m_hasFieldHeaders;
}

int TableMessage::getFieldAsString(const DataHandle* handle, std::string& out, bool& valid) const {
    const host::model::TableSnapshot& snapshot = snapshotOf(this);
    const host::model::TableColumns& columns = snapshot.m_columns;
    if (const auto shared = columns.sharedCell(handle); shared.has_value()) {
        if (handle == nullptr) return 1;
        return host::model::readCell(snapshot.m_row.m_shared.at(*shared), out, valid);
    }
    if (!columns.m_entities.empty()) return 1;
    const auto field = columns.fieldCell(handle);
    if (!field.has_value()) return 1;
    return host::model::readCell(snapshot.m_row.m_cells.at(*field), out, valid);
}

int TableMessage::getFieldAsString(const EntityHandle* entity, const DataHandle* handle, std::string& out,
                                   bool& valid) const {
    const host::model::TableSnapshot& snapshot = snapshotOf(this);
    const auto place = snapshot.m_columns.entityCell(entity, handle);
    if (!place.has_value()) return 1;
    return host::model::readCell(snapshot.m_row.at(place->m_entity, place->m_handle), out, valid);
}

bool TableMessage::quantityToUnits(const Quantity* quantity, std::string& out, const std::string& prefix,
                                   const std::string& suffix) {
    if (quantity == nullptr || quantity->toUnitsString().empty()) return false;
    out = prefix + quantity->toUnitsString() + suffix;
    return true;
}

}  // namespace pwr
