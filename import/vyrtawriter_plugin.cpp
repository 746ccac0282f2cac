// The run of the import-format writer.
#include "import/vyrtawriter_plugin.h"

#include "import/state_colors.h"
#include "import/vyrta_log.h"
#include "plugins/memory_guard.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/utilities.h"

namespace {

int closeHeader(VyrtaWriter& writer) {
    if (writer.flushStoredStates() != 0) return VYRTA_FAIL("Failed to flush stored states.\n");
    if (writer.writeMagicRecord() != 0) return VYRTA_FAIL("Failed to write magic record.\n");
    return 0;
}

}  // namespace

VyrtaWriter::VyrtaWriter()
    : WriterPlugin("f245366a-c403-478b-aae5-649269da17c7"),
      m_impl(std::make_unique<VyrtaWriterImpl>(".pwr")),
      m_systemStoreId(NO_SYSTEM_MESSAGE),
      m_cstateTabGroupId(UNWRITTEN_GROUP),
      m_cstateTimelineGroupId(UNWRITTEN_GROUP),
      m_temperatureTabGroupId(UNWRITTEN_GROUP),
      m_powerTabGroupId(UNWRITTEN_GROUP),
      m_legacyFormat(pwr::check_env("PW_ENABLE_LEGACY_VYRTA")),
      m_isTextTooLong(false),
      m_definitions(*this),
      m_values(m_shortcuts, m_legacyFormat, m_definitions),
      m_handleAttributes(m_shortcuts, m_values, m_definitions),
      m_metrics(m_metricNames),
      m_builder(m_shortcuts, m_values, m_handleAttributes, m_definitions) {
    std::set<pwr::TableClass> tableClasses;
    for (int tableClass = 3; tableClass <= 9; ++tableClass)
        tableClasses.insert(static_cast<pwr::TableClass>(tableClass));
    auto capability = std::make_unique<pwr::WriterPluginCapability>(
        tableClasses, VYRTA_OPTION_NAME,
        "Write data trace file (.pwr) in import format for visualization with Orvane Vyrta",
        m_impl->m_extension, false);
    addCapability(capability.release());
}

VyrtaWriter::~VyrtaWriter() {
    forgetStoredStates();
}

std::int32_t VyrtaWriter::init(const std::string& outputName, bool /*continuous*/) {
    const auto prepare = [&] {
        m_impl->m_fileName = outputName + m_impl->m_extension;
        createAttributeMap();
        createStateColorMap();
        return 0;
    };
    if (guardMemory(VYRTA_OPTION_NAME, 1, prepare) != 0) return 1;
    m_cstateTabGroupId = UNWRITTEN_GROUP;
    m_cstateTimelineGroupId = UNWRITTEN_GROUP;
    m_temperatureTabGroupId = UNWRITTEN_GROUP;
    m_powerTabGroupId = UNWRITTEN_GROUP;
    return 0;
}

std::int32_t VyrtaWriter::fini() {
    if (m_systemStoreId == NO_SYSTEM_MESSAGE) {
        VYRTA_WARNING("Failed to obtain a system metadata message.\n");
        m_impl->m_valid = false;
        return m_impl->fini();
    }
    if (guardMemory(VYRTA_OPTION_NAME, 1, [&] { return closeHeader(*this); }) != 0) {
        m_impl->m_valid = false;
        return 1;
    }
    return guardMemory(VYRTA_OPTION_NAME, 1, [&] { return m_impl->fini(); });
}
