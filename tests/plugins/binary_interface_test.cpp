// Holds the offsets of fields and the order of virtual tables that hosts compiled elsewhere rely on.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "overtime/int_writer_v2.h"
#include "plugins/plugin_list.h"
#include "plugins/writer_plugin.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/pwr.h"
#include "store/zt_buffer_provider.h"

namespace {

// The offset of a member, from its pointer: the representation of a pointer to data member.
template <typename Class, typename Member>
std::size_t offsetOf(Member Class::*member) {
    static_assert(sizeof(member) == sizeof(std::size_t));
    std::size_t offset;
    std::memcpy(&offset, &member, sizeof offset);
    return offset;
}

// The index in the virtual table, from a pointer to a virtual member function: one more than its offset.
template <typename Function>
std::size_t slotOf(Function function) {
    std::size_t word;
    std::memcpy(&word, &function, sizeof word);
    EXPECT_EQ(word % sizeof(void*), 1u) << "not virtual";
    return word / sizeof(void*);
}

// Names the fields that only derived classes may.
struct OpenHandle : pwr::DataHandle {
    using DataHandle::m_description;
    using DataHandle::m_fieldName;
    using DataHandle::m_handleType;
    using DataHandle::m_header;
    using DataHandle::m_id;
    using DataHandle::m_name;
    using DataHandle::m_qualifiedName;
};

struct OpenEntity : pwr::EntityHandle {
    using EntityHandle::m_flags;
    using EntityHandle::m_parents;
};

template <typename Message>
std::size_t writeMessageSlot() {
    using Operation = std::int32_t (WriterPlugin::*)(const Message&);
    return slotOf(static_cast<Operation>(&WriterPlugin::writeMessage));
}

}  // namespace

TEST(BinaryInterface, FieldsOfTheFrame) {
    EXPECT_EQ(offsetOf(&PluginList::count), 0u);
    EXPECT_EQ(offsetOf(&PluginList::plugins), 8u);

    EXPECT_EQ(offsetOf(&Plugin::m_handle), 8u);
    EXPECT_EQ(offsetOf(&Plugin::m_id), 16u);
    EXPECT_EQ(offsetOf(&Plugin::m_capabilities), 48u);
    EXPECT_EQ(offsetOf(&Plugin::m_text), 72u);
    EXPECT_EQ(sizeof(WriterPlugin), 104u);
    EXPECT_EQ(WriterPlugin::STATUS_REFUSED, 2);

    EXPECT_EQ(offsetOf(&pwr::PluginCapability::m_name), 8u);
    EXPECT_EQ(offsetOf(&pwr::PluginCapability::m_description), 40u);
    EXPECT_EQ(offsetOf(&pwr::PluginCapability::m_owner), 72u);
    EXPECT_EQ(offsetOf(&pwr::PluginCapability::m_options), 80u);
    EXPECT_EQ(offsetOf(&pwr::PluginCapability::m_flags), 128u);
    EXPECT_EQ(offsetOf(&pwr::PluginCapability::m_requirements), 136u);
    EXPECT_EQ(offsetOf(&pwr::WriterPluginCapability::m_tableClasses), 216u);
    EXPECT_EQ(offsetOf(&pwr::WriterPluginCapability::m_extension), 264u);
}

TEST(BinaryInterface, FieldsOfTheHost) {
    EXPECT_EQ(offsetOf(&PluginEnvironment::m_logLevel), 0u);
    EXPECT_EQ(offsetOf(&PluginEnvironment::m_errorLog), 8u);
    EXPECT_EQ(offsetOf(&PluginEnvironment::m_infoLog), 16u);
    EXPECT_EQ(offsetOf(&PluginEnvironment::m_discardStream), 24u);
    EXPECT_EQ(offsetOf(&PluginEnvironment::m_conditionalTags), 32u);

    EXPECT_EQ(offsetOf(&pwr::WriterMessage::m_id), 8u);
    EXPECT_EQ(offsetOf(&pwr::WriterMessage::m_ids), 16u);
    EXPECT_EQ(offsetOf(&pwr::WriterMessage::m_metricContainerId), 64u);
    EXPECT_EQ(offsetOf(&pwr::TextMessage::m_text), 72u);
    EXPECT_EQ(offsetOf(&pwr::SystemMessage::m_metadata), 72u);

    EXPECT_EQ(offsetOf(&pwr::MetricContainerInfoMessage::m_notes), 72u);
    EXPECT_EQ(offsetOf(&pwr::MetricContainerInfoMessage::m_containerHeader), 80u);
    EXPECT_EQ(offsetOf(&pwr::MetricContainerInfoMessage::m_infoTable), 112u);
    EXPECT_EQ(offsetOf(&pwr::MetricContainerInfoMessage::m_timelineTableType), 120u);
    EXPECT_EQ(offsetOf(&pwr::MetricContainerInfoMessage::m_featureName), 128u);
    EXPECT_EQ(offsetOf(&pwr::MetricContainerInfoMessage::m_metricName), 160u);

    EXPECT_EQ(offsetOf(&pwr::Logger::m_writeCount) - offsetOf(&pwr::Logger::m_buffer), 24u);
}

TEST(BinaryInterface, FieldsOfHandles) {
    EXPECT_EQ(offsetOf(&OpenHandle::m_id), 8u);
    EXPECT_EQ(offsetOf(&OpenHandle::m_name), 16u);
    EXPECT_EQ(offsetOf(&OpenHandle::m_header), 48u);
    EXPECT_EQ(offsetOf(&OpenHandle::m_fieldName), 80u);
    EXPECT_EQ(offsetOf(&OpenHandle::m_qualifiedName), 112u);
    EXPECT_EQ(offsetOf(&OpenHandle::m_description), 144u);
    EXPECT_EQ(offsetOf(&OpenHandle::m_handleType), 176u);

    // The handle type leaves room behind it for the next field.
    EXPECT_EQ(offsetOf(&pwr::Attribute::m_quantity), 184u);
    EXPECT_EQ(offsetOf(&pwr::Attribute::m_attributeType), 192u);
    EXPECT_EQ(sizeof(pwr::AttributeValueManager), 72u);
    EXPECT_EQ(offsetOf(&OpenEntity::m_flags), 184u + 72);
    EXPECT_EQ(offsetOf(&OpenEntity::m_parents), 184u + 72 + 8);
    EXPECT_EQ(sizeof(pwr::EntityHandle), 184u + 72 + 8 + 24);
}

TEST(BinaryInterface, ObjectsThatTheWritersMake) {
    EXPECT_EQ(offsetOf(&pwr::Data::m_type), 0u);
    EXPECT_EQ(sizeof(pwr::Data), 40u);
    EXPECT_EQ(offsetOf(&pwr::DataDescriptorBuilder::m_attributes), 64u);
    EXPECT_EQ(sizeof(pwr::DataDescriptorBuilder), 136u);
    EXPECT_EQ(sizeof(pwr::RealFormatter), 16u);
    EXPECT_EQ(sizeof(pwr::Tokenizer), 64u);
}

TEST(BinaryInterface, FieldsOfMetrics) {
    EXPECT_EQ(offsetOf(&pwr::Metric::Sample::timestamp), 0u);
    EXPECT_EQ(offsetOf(&pwr::Metric::Sample::elements), 8u);

    EXPECT_EQ(offsetOf(&pwr::Metric::m_name), 0u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_quantity), 32u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_legendValues), 40u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_valueHandle), 64u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_entityHandle), 72u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_stateHandle), 80u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_id), 88u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_tableClass), 92u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_attributeDescriptors), 96u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_metricType), 120u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_groupName), 128u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_entities), 160u);
    EXPECT_EQ(offsetOf(&pwr::Metric::m_hasEntityAttributes), 184u);
}

TEST(BinaryInterface, FieldsOfTheSystem) {
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_cpu), 0u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_productVersion), 4u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_driverVersion), 8u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_platformName), 16u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_hostName), 48u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_osName), 80u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_osType), 112u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_osVersion), 144u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_topology), 176u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_busFrequency), 200u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_tscFrequency), 204u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_lfmFrequency), 208u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_hfmFrequency), 212u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_cpuFrequency), 216u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_collectionStart), 224u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_collectionStop), 232u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_collectionTime), 240u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_commandLine), 248u);
    EXPECT_EQ(offsetOf(&pwr::SystemMetadata::m_platformId), 272u);

    EXPECT_EQ(offsetOf(&pwr::TNode::m_id), 0u);
    EXPECT_EQ(offsetOf(&pwr::TNode::m_type), 4u);
    EXPECT_EQ(offsetOf(&pwr::TNode::m_parent), 8u);
}

TEST(BinaryInterface, VirtualTablesOfThePlugIns) {
    // The two destructors come first.
    EXPECT_EQ(slotOf(&Plugin::getVersion), 2u);
    EXPECT_EQ(slotOf(&Plugin::handleBroadcastOption), 3u);
    EXPECT_EQ(slotOf(&Plugin::reset), 4u);
    EXPECT_EQ(slotOf(&Plugin::pmtDevReset), 5u);
    EXPECT_EQ(slotOf(&Plugin::addCapability), 6u);
    EXPECT_EQ(slotOf(&Plugin::notifyCommandlineParamsSet_i), 7u);

    EXPECT_EQ(slotOf(&WriterPlugin::addCapability), 6u);
    EXPECT_EQ(slotOf(&WriterPlugin::init), 8u);
    EXPECT_EQ(slotOf(&WriterPlugin::fini), 9u);
    EXPECT_EQ(slotOf(&WriterPlugin::flushContinuousResults), 10u);
    EXPECT_EQ(writeMessageSlot<pwr::TableMessage>(), 11u);
    EXPECT_EQ(writeMessageSlot<pwr::TextMessage>(), 12u);
    EXPECT_EQ(writeMessageSlot<pwr::SystemMessage>(), 13u);
    EXPECT_EQ(writeMessageSlot<pwr::IdMessage>(), 14u);
    EXPECT_EQ(writeMessageSlot<pwr::Metric>(), 15u);
    EXPECT_EQ(writeMessageSlot<pwr::MetricContainerInfoMessage>(), 16u);
    EXPECT_EQ(slotOf(&WriterPlugin::getColumnTitles), 17u);
    EXPECT_EQ(slotOf(&WriterPlugin::getRowValues), 18u);
}

// The other writers add no operation to their tables, which the test of the library's symbols sees.
TEST(BinaryInterface, VirtualTablesOfTheTraceWriters) {
    EXPECT_EQ(slotOf(&IntWriterV2::writeSampledGeneric), 19u);
    EXPECT_EQ(slotOf(&IntWriterV2::writeTracedMetric), 20u);

    using Store = pwr::ZTBufferProvider;
    EXPECT_EQ(slotOf(&Store::read), 2u);
    EXPECT_EQ(slotOf(&Store::write), 3u);
    EXPECT_EQ(slotOf(&Store::peek), 4u);
    EXPECT_EQ(slotOf(&Store::size), 5u);
    EXPECT_EQ(slotOf(&Store::resetForRead), 6u);
    EXPECT_EQ(slotOf(&Store::resetForReadBack), 7u);
    EXPECT_EQ(slotOf(&Store::writeToReadHead), 8u);
    EXPECT_EQ(slotOf(&Store::clone), 9u);
    EXPECT_EQ(slotOf(&Store::insert), 10u);
    EXPECT_EQ(slotOf(&Store::readBack), 11u);
}

TEST(BinaryInterface, VirtualTablesOfTheHost) {
    EXPECT_EQ(slotOf(&pwr::DataHandle::getQualifiedName), 2u);
    EXPECT_EQ(slotOf(&pwr::EntityHandle::getQualifiedName), 2u);

    EXPECT_EQ(slotOf(&pwr::Logger::log), 2u);
    EXPECT_EQ(slotOf(&pwr::Logger::finish), 3u);
    EXPECT_EQ(slotOf(static_cast<void (pwr::Logger::*)()>(&pwr::Logger::flush)), 4u);
    EXPECT_EQ(slotOf(&pwr::Logger::close), 5u);

    EXPECT_EQ(slotOf(&pwr::TableMessage::getMessageType), 2u);
    EXPECT_EQ(slotOf(&pwr::TableMessage::isNonSummary), 3u);
    EXPECT_EQ(slotOf(&pwr::TableMessage::sharedHandlesBegin), 4u);
    EXPECT_EQ(slotOf(&pwr::TableMessage::sharedHandlesEnd), 5u);
    EXPECT_EQ(slotOf(&pwr::TableMessage::handlesBegin), 6u);
    EXPECT_EQ(slotOf(&pwr::TableMessage::handlesEnd), 7u);
    EXPECT_EQ(slotOf(&pwr::TableMessage::entitiesBegin), 8u);
    EXPECT_EQ(slotOf(&pwr::TableMessage::entitiesEnd), 9u);
}
