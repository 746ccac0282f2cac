#pragma once

#include <set>
#include <string>

#include "plugins/plugin_capability.h"
#include "pwr/table_message.h"

namespace pwr {

// Reports the host which tables a writer wants and what its results are called. Every writer has exactly one.
class WriterPluginCapability : public PluginCapability {
public:
    // `extension` is the extension or suffix that the writer appends to the output name; an empty set of
    // table classes leaves the choice of tables to the host.
    WriterPluginCapability(const std::set<TableClass>& tableClasses, const std::string& name,
                           const std::string& description, const std::string& extension, bool continuous);
    ~WriterPluginCapability() override;

    std::set<TableClass> m_tableClasses;
    std::string m_extension;
};

}  // namespace pwr
