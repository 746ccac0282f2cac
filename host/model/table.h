#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "pwr/table_message.h"

namespace host::model {

// A cell of a row.
struct Cell {
    enum class Kind : std::uint8_t {
        Empty,   // the look-up succeeds, without a value
        Text,    // the look-up succeeds
        Absent,  // the look-up fails
    };

    Kind m_kind = Kind::Empty;
    std::string m_text;  // of a text
};

// Cells one after the other. Those that are removed keep the memory of their texts for the next row.
class CellList {
public:
    // Adds a cell, which may hold what a removed one held.
    Cell& add() {
        if (m_count == m_cells.size()) m_cells.emplace_back();
        return m_cells[m_count++];
    }
    void push_back(Cell cell) { add() = std::move(cell); }
    void clear() { m_count = 0; }

    std::size_t size() const { return m_count; }
    auto begin() const { return m_cells.begin(); }
    auto end() const { return m_cells.begin() + static_cast<std::ptrdiff_t>(m_count); }

    // The cell at `place`, or null if there are fewer.
    const Cell* at(std::size_t place) const { return place < m_count ? &m_cells[place] : nullptr; }

private:
    std::vector<Cell> m_cells;
    std::size_t m_count = 0;
};

// The cells of a row, as far as they are given: those of the shared handles; then those of the handles, or of
// the handles of each entity in turn, by ascending id. All others are empty.
struct Row {
    CellList m_shared;
    CellList m_cells;
    std::vector<std::size_t> m_ends;  // of each entity: where its cells end

    void clear() {
        m_shared.clear();
        m_cells.clear();
        m_ends.clear();
    }

    // The cell of an entity and a handle, by their places, or null.
    const Cell* at(std::size_t entity, std::size_t handle) const {
        if (entity >= m_ends.size()) return nullptr;
        const std::size_t place = (entity != 0 ? m_ends[entity - 1] : 0) + handle;
        return place < m_ends[entity] ? m_cells.at(place) : nullptr;
    }
};

// The places of an entity and of a handle.
struct EntityCell {
    std::size_t m_entity;
    std::size_t m_handle;
};

class TableColumns;

// A table as it is delivered: the announcement (no cells) or a row.
class TableSnapshot : public pwr::TableMessage {
public:
    // `columns` must outlive this object.
    TableSnapshot(const TableColumns& columns, pwr::TableMessageType type);

    const TableColumns& m_columns;
    pwr::TableMessageType m_type;
    Row m_row;
};

// What a table has in all its messages.
class TableColumns {
public:
    std::uint32_t m_container = 0;
    std::uint32_t m_id = 0;
    pwr::TableClass m_class = pwr::TABLE_CLASS_SUMMARY;
    bool m_isSummary = true;
    bool m_hasFieldHeaders = true;
    std::string m_title;
    const pwr::Quantity* m_quantity = nullptr;
    std::vector<const pwr::DataHandle*> m_shared;   // without repetition, apart from nulls
    std::vector<const pwr::DataHandle*> m_handles;  // likewise
    std::set<const pwr::EntityHandle*, pwr::EntityOrder> m_entities;
    std::optional<pwr::TextNotes> m_notes;

    // Builds the indices; to be called once the lists are complete.
    void index();

    // The number of cells after the shared ones.
    std::size_t cellCount() const;

    // Return the place of a column's cell, or nothing. Of null handles the first one counts.
    std::optional<std::size_t> sharedCell(const pwr::DataHandle* handle) const;
    std::optional<std::size_t> fieldCell(const pwr::DataHandle* handle) const;
    std::optional<EntityCell> entityCell(const pwr::EntityHandle* entity,
                                         const pwr::DataHandle* handle) const;

private:
    std::unordered_map<const pwr::DataHandle*, std::size_t> m_sharedIndex;
    std::unordered_map<const pwr::DataHandle*, std::size_t> m_handleIndex;
    std::unordered_map<std::uint64_t, std::size_t> m_entityIndex;  // by entity id
};

// A table: its columns and the two messages that it is delivered as. The row message is reused for every row.
class Table {
public:
    explicit Table(TableColumns columns);
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    static std::uint64_t keyOf(std::uint32_t container, std::uint32_t id) {
        return (std::uint64_t{container} << 32) | id;
    }
    std::uint64_t key() const { return keyOf(m_columns.m_container, m_columns.m_id); }

    const TableColumns m_columns;
    TableSnapshot m_announcement;
    TableSnapshot m_rowMessage;
};

}  // namespace host::model
