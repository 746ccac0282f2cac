#include "host/model/registry.h"

#include <utility>

namespace host::model {

namespace {

std::unique_ptr<Registry>& holder() {
    static std::unique_ptr<Registry> s_registry;
    return s_registry;
}

}  // namespace

Registry& Registry::instance() {
    std::unique_ptr<Registry>& registry = holder();
    if (registry == nullptr) registry = std::make_unique<Registry>();
    return *registry;
}

void Registry::reset() {
    holder().reset();
}

Registry::Registry() : m_ownTime(OWN_TIME_ID), m_timeQuantity(&m_ownTime) {
    m_ownTime.m_kind = static_cast<pwr::QuantityType>(1);
    m_ownTime.m_name = "Time";
    m_ownTime.m_units = "usec";
    m_ownTime.m_title = "Time (usec)";
}

template <typename T>
T* Registry::keepHandle_i(std::unique_ptr<T> handle, HandleRecord record) {
    T* const kept = handle.get();
    m_owned.emplace_back(std::move(handle));
    m_handles.insert(record.m_handle->getId(), &m_records.emplace_back(record));
    return kept;
}

Handle* Registry::add(std::unique_ptr<Handle> handle) {
    HandleRecord record;
    record.m_handle = handle.get();
    return keepHandle_i(std::move(handle), record);
}

Attribute* Registry::add(std::unique_ptr<Attribute> attribute) {
    HandleRecord record;
    record.m_handle = attribute.get();
    record.m_attribute = attribute.get();
    return keepHandle_i(std::move(attribute), record);
}

Entity* Registry::add(std::unique_ptr<Entity> entity) {
    HandleRecord record;
    record.m_handle = entity.get();
    record.m_entity = entity.get();
    record.m_attribute = dynamic_cast<const pwr::Attribute*>(entity.get());
    return keepHandle_i(std::move(entity), record);
}

Descriptor* Registry::add(std::unique_ptr<Descriptor> descriptor) {
    HandleRecord record;
    record.m_handle = descriptor.get();
    record.m_descriptor = descriptor.get();
    return keepHandle_i(std::move(descriptor), record);
}

Process* Registry::add(std::unique_ptr<Process> process) {
    HandleRecord record;
    record.m_handle = process.get();
    return keepHandle_i(std::move(process), record);
}

Thread* Registry::add(std::unique_ptr<Thread> thread) {
    HandleRecord record;
    record.m_handle = thread.get();
    return keepHandle_i(std::move(thread), record);
}

NameValuePair* Registry::add(std::unique_ptr<NameValuePair> pair) {
    HandleRecord record;
    record.m_handle = pair.get();
    return keepHandle_i(std::move(pair), record);
}

Quantity* Registry::add(std::unique_ptr<Quantity> quantity, bool isTime) {
    Quantity* const kept = quantity.get();
    m_owned.emplace_back(std::move(quantity));
    m_quantities.insert(kept->getId(), kept);
    if (isTime) m_timeQuantity = kept;
    return kept;
}

Metric* Registry::add(std::unique_ptr<Metric> metric) {
    Metric* const kept = metric.get();
    m_owned.emplace_back(std::move(metric));
    m_metrics.insert(kept->m_id, kept);
    return kept;
}

Table* Registry::add(std::unique_ptr<Table> table) {
    Table* const kept = table.get();
    m_owned.emplace_back(std::move(table));
    m_tables.insert(kept->key(), kept);
    return kept;
}

pwr::SystemMessage* Registry::keep(std::unique_ptr<pwr::SystemMessage> message) {
    pwr::SystemMessage* const kept = message.get();
    m_owned.emplace_back(std::move(message));
    return kept;
}

pwr::TextNotes* Registry::keep(std::unique_ptr<pwr::TextNotes> notes) {
    pwr::TextNotes* const kept = notes.get();
    m_owned.emplace_back(std::move(notes));
    return kept;
}

TableSnapshot* Registry::keep(std::unique_ptr<TableSnapshot> table) {
    TableSnapshot* const kept = table.get();
    m_owned.emplace_back(std::move(table));
    return kept;
}

}  // namespace host::model
