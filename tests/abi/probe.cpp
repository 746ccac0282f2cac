// Names every class that crosses between a host and the plug-in libraries, so that one description of the
// binary interface holds them all: layouts, virtual tables, enumerators and the signatures of free functions.
#include "plugins/plugin_list.h"
#include "plugins/writer_plugin.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/bin/pwr_records.h"
#include "pwr/bin/records.h"
#include "pwr/pwr.h"

WRITER_LIBRARY_EXPORT void probe(
    Plugin*, PluginList*, WriterPlugin*, PluginEnvironment*, pwr::PluginCapability*,
    pwr::PluginCapability::Flag, Plugin::ResetReason, pwr::WriterPluginCapability*, pwr::Attribute*,
    pwr::AttributeType, pwr::AttributeValueManager*, pwr::DynamicAttributeValueManager*,
    pwr::ExpectedAttributeManager*, pwr::WriterInterfaceConfigFileParser*, pwr::Data*, pwr::DataType,
    pwr::DataDescriptor*, pwr::DataDescriptorBuilder*, pwr::DataHandle*, pwr::HandleType, pwr::EntityHandle*,
    pwr::Logger*, pwr::MessageType, pwr::TimelineTableType, pwr::WriterMessage*, pwr::TextMessage*,
    pwr::HeaderTextMessage*, pwr::SystemMessage*, pwr::IdMessage*, pwr::MetricContainerInfoMessage*,
    pwr::RealTableClass, pwr::DataElement*, pwr::Metric*, pwr::Metric::MetricType, pwr::Metric::Sample*,
    pwr::PluginRequirement*, pwr::Process*, pwr::Thread*, pwr::NameValuePair*, pwr::QuantityType,
    pwr::Quantity*, pwr::TopNodeType, pwr::TNode*, pwr::TopTree*, pwr::Version*, pwr::CpuIdentification*,
    pwr::SystemMetadata*, pwr::TableClass, pwr::TableMessageType, pwr::EntityOrder*, pwr::TableMessage*,
    pwr::UniqueId*, pwr::Tokenizer*, pwr::Formatter*, pwr::RealFormatter*, pwr::PWSet<int>*,
    pwr::bin::MsgType, pwr::bin::StringStoreField, pwr::bin::SystemMetaField, pwr::bin::DescriptorMetaField,
    pwr::bin::MetricMetaField, pwr::bin::MetricDataField, vyrta::AttributeKind, vyrta::MetricClass) {}
