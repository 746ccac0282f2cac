// Holds the offsets of fields and the order of virtual tables that hosts compiled elsewhere rely on.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "plugins/plugin_list.h"
#include "plugins/writer_plugin.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/pwr.h"

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

    // What follows the virtual table pointer: the id, five strings, the handle type.
    EXPECT_EQ(sizeof(pwr::DataHandle), 8u + 8 + 5 * sizeof(std::string) + 8);
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

TEST(BinaryInterface, VirtualTablesOfTheHost) {
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
