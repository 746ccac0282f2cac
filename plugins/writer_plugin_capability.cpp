#include "plugins/writer_plugin_capability.h"

namespace pwr {

WriterPluginCapability::WriterPluginCapability(const std::set<TableClass>& tableClasses,
                                               const std::string& name, const std::string& description,
                                               const std::string& extension, bool continuous)
    : PluginCapability(name, description, continuous), m_tableClasses(tableClasses), m_extension(extension) {}

WriterPluginCapability::~WriterPluginCapability() = default;

}  // namespace pwr
