#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
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

// The cells of a row: one per shared handle; then one per handle, or per entity, by ascending id, and handle.
struct Row {
    std::vector<Cell> m_shared;
    std::vector<Cell> m_cells;
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

    // The number of cells behind the shared ones.
    std::size_t cellCount() const;

    // Return the place of a column's cell, or nothing. Of null handles the first one counts.
    std::optional<std::size_t> sharedCell(const pwr::DataHandle* handle) const;
    std::optional<std::size_t> fieldCell(const pwr::DataHandle* handle) const;
    std::optional<std::size_t> entityCell(const pwr::EntityHandle* entity,
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
