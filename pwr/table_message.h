#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "pwr/api.h"
#include "pwr/data_handle.h"
#include "pwr/entity_handle.h"
#include "pwr/messages.h"
#include "pwr/quantity.h"

namespace pwr {

// By which the host routes tables to writers. Class 0 holds the summary tables.
enum TableClass : std::int32_t {
    TABLE_CLASS_SUMMARY = 0,
};

// What a table message says.
enum TableMessageType : std::uint8_t {
    TABLE_ANNOUNCEMENT = 0,  // title, columns and notes, no row
    TABLE_ROW = 1,           // one row
};

// The order of a table's entities: by ascending id.
struct EntityOrder {
    bool operator()(const EntityHandle* a, const EntityHandle* b) const { return a->getId() < b->getId(); }
};

// A summary table or a row of one. Its columns are the shared handles, then, in a table without entities,
// the handles; otherwise, for each entity, the handles. Handles may be null. A table is named by
// m_metricContainerId and m_id together.
class PWR_HOST_API TableMessage : public WriterMessage {
public:
    using HandleIterator = std::vector<const DataHandle*>::const_iterator;
    using EntityIterator = std::set<const EntityHandle*, EntityOrder>::const_iterator;

    ~TableMessage() override;

    std::uint8_t getMessageType() const override;

    // Non-zero if this is not a summary table.
    virtual int isNonSummary() const;

    virtual HandleIterator sharedHandlesBegin() const;  // the columns common to all entities
    virtual HandleIterator sharedHandlesEnd() const;
    virtual HandleIterator handlesBegin() const;  // the fields of each entity
    virtual HandleIterator handlesEnd() const;
    virtual EntityIterator entitiesBegin() const;
    virtual EntityIterator entitiesEnd() const;

    const std::string& getTitle() const;
    const Quantity* getQuantity() const;  // may be null
    std::size_t getHandleCount() const;
    std::size_t getSharedHandleCount() const;
    std::size_t getEntityCount() const;
    std::size_t getFieldCount() const;         // the number of columns
    std::uint8_t getTableMessageType() const;  // see TableMessageType
    const TextNotes* getTextNotes() const;     // may be null
    bool hasFieldHeaders() const;

    // Looks up the cell of a column without an entity, or of an entity's field. Returns 0 on success:
    // `out` is then the cell's text and `valid` false when the cell has no value. Otherwise returns
    // non-zero and leaves both alone.
    int getFieldAsString(const DataHandle* handle, std::string& out, bool& valid) const;
    int getFieldAsString(const EntityHandle* entity, const DataHandle* handle, std::string& out,
                         bool& valid) const;

    // If `quantity` is not null and has units, fills `out` with the units between `prefix` and `suffix` and
    // returns true; otherwise returns false and leaves `out` alone.
    static bool quantityToUnits(const Quantity* quantity, std::string& out, const std::string& prefix,
                                const std::string& suffix);

protected:
    TableMessage();
    TableMessage(const TableMessage& other);
};

}  // namespace pwr
