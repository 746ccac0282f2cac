#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "import/attribute_list.h"
#include "import/handle_attributes.h"
#include "import/sample_cache.h"
#include "import/sample_elements.h"
#include "import/shortcuts.h"
#include "import/values.h"
#include "pwr/metric.h"

namespace vyrta {

// What a sample refers to, each defined in the file before, and the latest times. All give 0, or 1 after a
// line in the log.
class SampleDefinitions {
public:
    // Checks that `tsc` lies after the entity's latest time in this metric, and makes it the latest. Sets
    // `latest` to where that is kept, also on failure.
    virtual int advance(const pwr::Metric& metric, const pwr::EntityHandle& entity, std::uint64_t tsc,
                        std::uint64_t*& latest) = 0;

    // Defines the entity and its parents.
    virtual int defineEntity(const pwr::EntityHandle& entity) = 0;

    // Defines a state. `id` is its descriptor's on entry, and the one to be used after. `isWritten` gives
    // whether its record is in the file.
    virtual int defineState(const std::string& name, std::uint64_t& id, bool& isWritten) = 0;

    // Defines a state's colour and sets `id` to its id.
    virtual int defineColor(const std::string& state, std::uint64_t& id) = 0;

protected:
    ~SampleDefinitions() = default;
};

// Builds samples of the elements of messages.
class SampleBuilder {
public:
    // The arguments stay the caller's.
    SampleBuilder(const Shortcuts& shortcuts, Values& values, HandleAttributes& attributes,
                  SampleDefinitions& definitions)
        : m_shortcuts(shortcuts), m_values(values), m_attributes(attributes), m_definitions(definitions) {}

    // Builds the sample of a message's elements. Returns the attributes, which hold until the next call, or
    // null after a line in the log.
    const ZT2AttributeList* build(const pwr::Metric& metric, const SampleElements& elements);

private:
    int addEntity_i(const pwr::Metric& metric, const EntityGroup& group, std::uint64_t tsc);
    int addElement_i(const pwr::Metric& metric, const GroupedElement& grouped, std::uint64_t tsc,
                     std::uint64_t previousTsc);
    int addNewState_i(const EntityDataElement& element, StateCache& state, std::uint64_t duration,
                      bool allAsString, std::uint64_t tsc);
    int defineState_i(const pwr::DataDescriptor& descriptor, StateCache& state, std::uint64_t tsc);
    int addState_i(const StateCache& state, std::uint64_t duration, std::uint64_t tsc);
    int addAttributes_i(const EntityDataElement& element, StateCache& state, bool allAsString,
                        std::uint64_t tsc);
    int addInfos_i(const pwr::AttributeValueManager* manager, KnownAttributes& known);
    int addData_i(const pwr::AttributeValueManager* manager, KnownAttributes& known, bool allAsString);
    bool repeat_i(const KnownAttributes& known);
    void remember_i(KnownAttributes& known, std::uint32_t first) const;

    const Shortcuts& m_shortcuts;
    Values& m_values;
    HandleAttributes& m_attributes;
    SampleDefinitions& m_definitions;
    std::unique_ptr<ZT2AttributeList> m_list;             // reused by all samples
    const pwr::Attribute* m_inventedAttribute = nullptr;  // of the current message
};

}  // namespace vyrta
