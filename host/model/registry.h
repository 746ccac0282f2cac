#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "host/model/handles.h"
#include "host/model/id_table.h"
#include "host/model/metric.h"
#include "host/model/output_configuration.h"
#include "host/model/quantity.h"
#include "host/model/system_metadata.h"
#include "host/model/table.h"

namespace host::model {

// What is known of one handle: itself, and the other classes that it can be seen as (null if it cannot).
struct HandleRecord {
    pwr::DataHandle* m_handle = nullptr;
    const pwr::EntityHandle* m_entity = nullptr;
    const pwr::Attribute* m_attribute = nullptr;
    const pwr::DataDescriptor* m_descriptor = nullptr;
};

// Everything that lives for the whole run: handles, quantities, metrics, tables, what messages point to, and
// the output configuration. The pwr functions that look something up or make something come here, so there
// is one registry in a process. Nothing that was handed out moves or goes before reset or the process's end.
class Registry {
public:
    // Ids that streams may use for handles, and the first of those that the host draws itself.
    static constexpr std::uint64_t MAX_HANDLE_ID = 1073741823;
    static constexpr std::uint64_t FIRST_FRESH_ID = 1073741824;
    // Ids that streams may use for quantities, and the one of the host's own quantity of time.
    static constexpr std::uint64_t MAX_QUANTITY_ID = 1073741822;
    static constexpr std::uint64_t OWN_TIME_ID = 1073741823;

    static Registry& instance();

    // Forgets and frees everything: for tests that make several runs in one process. No writer may exist.
    static void reset();

    Registry();
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    // Take a handle over under its id, which must not be in use, and return it.
    Handle* add(std::unique_ptr<Handle> handle);
    Attribute* add(std::unique_ptr<Attribute> attribute);
    Entity* add(std::unique_ptr<Entity> entity);
    Descriptor* add(std::unique_ptr<Descriptor> descriptor);
    Process* add(std::unique_ptr<Process> process);
    Thread* add(std::unique_ptr<Thread> thread);
    NameValuePair* add(std::unique_ptr<NameValuePair> pair);

    // Take an object over under its id or key, which must not be in use, and return it. `isTime` makes the
    // quantity the one of time.
    Quantity* add(std::unique_ptr<Quantity> quantity, bool isTime);
    Metric* add(std::unique_ptr<Metric> metric);
    Table* add(std::unique_ptr<Table> table);

    // Return null if there is none.
    const HandleRecord* findHandle(std::uint64_t id) const { return m_handles.find(id); }
    const Quantity* findQuantity(std::uint64_t id) const { return m_quantities.find(id); }
    Metric* findMetric(std::uint32_t id) const { return m_metrics.find(id); }
    Table* findTable(std::uint32_t container, std::uint32_t id) const {
        return m_tables.find(Table::keyOf(container, id));
    }

    // The next id of an object that the library makes.
    unsigned long freshId() { return m_nextFreshId++; }

    const pwr::Quantity* timeQuantity() const { return m_timeQuantity; }
    bool hasDefinedTime() const { return m_timeQuantity != &m_ownTime; }

    // Takes the system message over, which writers may keep.
    pwr::SystemMessage* keep(std::unique_ptr<pwr::SystemMessage> message);
    // Take what a container message points to over.
    pwr::TextNotes* keep(std::unique_ptr<pwr::TextNotes> notes);
    TableSnapshot* keep(std::unique_ptr<TableSnapshot> table);

    std::unique_ptr<SystemMetadata> m_metadata;  // null until the run has been opened
    OutputConfiguration m_configuration;

private:
    template <typename T>
    T* keepHandle_i(std::unique_ptr<T> handle, HandleRecord record);

    IdTable<HandleRecord> m_handles;
    std::deque<HandleRecord> m_records;
    std::vector<std::shared_ptr<void>> m_owned;
    IdTable<Quantity> m_quantities;
    IdTable<Metric> m_metrics;
    IdTable<Table> m_tables;
    Quantity m_ownTime;
    const pwr::Quantity* m_timeQuantity;
    unsigned long m_nextFreshId = FIRST_FRESH_ID;
};

}  // namespace host::model
