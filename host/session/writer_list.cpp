#include "host/session/writer_list.h"

#include <algorithm>
#include <cctype>

#include "host/base/text.h"

namespace host::session {

namespace {

std::string inLowerCase(std::string_view text) {
    std::string lower(text);
    for (char& character : lower)
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    return lower;
}

}  // namespace

WriterList::WriterList(const std::string& text) {
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        m_names.insert(inLowerCase(base::trimmed(std::string_view(text).substr(begin, end - begin))));
        begin = end + 1;
    }
}

bool WriterList::select(const PluginLibraries& libraries, std::vector<WriterPlugin*>& chosen,
                        std::string& error) const {
    if (isNone()) return true;
    std::set<std::string> wanted = m_names;
    std::string known;
    for (WriterPlugin* writer : libraries.writers()) {
        const std::string& name = PluginLibrary::capabilityOf(*writer).m_name;
        known += (known.empty() ? "" : ", ") + name;
        if (wanted.erase(inLowerCase(name)) != 0 || isAll()) chosen.push_back(writer);
    }
    if (isAll() || wanted.empty()) return true;
    error = "unknown writer \"" + *wanted.begin() + "\"; there are: " + known;
    return false;
}

}  // namespace host::session
