#pragma once

#include <string>

#include "import/key_cache.h"
#include "import/shortcuts.h"
#include "import/values.h"
#include "import/zt2_attribute_list.h"
#include "pwr/attribute.h"
#include "pwr/process.h"

namespace vyrta {

// What attributes refer to, each defined in the file before. All give 0, or 1 after a line in the log.
class HandleDefinitions {
public:
    virtual int defineProcess(const pwr::Process& process) = 0;
    virtual int defineThread(const pwr::Thread& thread) = 0;
    virtual int definePair(const pwr::Attribute& attribute, const pwr::NameValuePair& pair) = 0;

protected:
    ~HandleDefinitions() = default;
};

// Turns the attributes of entities, descriptors and elements into those of a sample: infos, which refer to
// processes, threads and name-value pairs, and data. All operations give 0, or 1 after a line in the log.
class HandleAttributes {
public:
    // The arguments stay the caller's.
    HandleAttributes(const Shortcuts& shortcuts, Values& values, HandleDefinitions& definitions)
        : m_shortcuts(shortcuts), m_values(values), m_definitions(definitions) {}

    // Adds the infos of a handle, but for the attribute `invented`, or of an element's additional info, which
    // may be null.
    int addInfos(const pwr::AttributeValueManager* manager, const pwr::Attribute* invented,
                 ZT2AttributeList* list);
    int addInfos(const pwr::DynamicAttributeValueManager* manager, ZT2AttributeList* list);
    int addInfo(const pwr::Attribute* attribute, const pwr::Data* data, ZT2AttributeList* list);

    // Adds the data, as texts but for the first attribute when `allAsString` is false.
    int addData(const pwr::AttributeValueManager* manager, ZT2AttributeList* list, bool allAsString);
    int addData(const pwr::DynamicAttributeValueManager* manager, ZT2AttributeList* list, bool allAsString);
    int addDatum(const pwr::Attribute* attribute, const pwr::Data* data, ZT2AttributeList* list,
                 bool asString, std::string* stringOut);

    // Fills `out` with the first attribute's text; leaves it alone when there is none.
    int readFirstText(const pwr::AttributeValueManager* manager, std::string* out);

private:
    int find_i(unsigned long id, const pwr::Attribute*& attribute);
    int addProcess_i(const pwr::DataHandle* handle, ZT2AttributeList* list);
    int addThread_i(const pwr::DataHandle* handle, ZT2AttributeList* list);
    int addPair_i(const pwr::Attribute& attribute, const pwr::DataHandle* handle, ZT2AttributeList* list);

    const Shortcuts& m_shortcuts;
    Values& m_values;
    HandleDefinitions& m_definitions;
    KeyCache<const pwr::Attribute*> m_attributes;  // by id
    // By handle, those that are defined.
    KeyCache<const pwr::Process*> m_processes;
    KeyCache<const pwr::Thread*> m_threads;
    KeyCache<const pwr::NameValuePair*> m_pairs;
};

}  // namespace vyrta
