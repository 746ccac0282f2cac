#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "import/shortcuts.h"
#include "import/zt2_attribute_list.h"
#include "pwr/data.h"
#include "pwr/quantity.h"

namespace vyrta {

// What values refer to, each defined in the file before. Both give 0, or 1 after a line in the log.
class ValueDefinitions {
public:
    // Sets `id` to the quantity's.
    virtual int defineQuantity(const pwr::Quantity& quantity, long& id) = 0;

    // Sets `id` to that of the text's record.
    virtual int defineText(const std::string& text, std::uint64_t& id) = 0;

protected:
    ~ValueDefinitions() = default;
};

// Turns values into attributes of a sample, and into texts. All operations that return int give 0, or 1 after
// a line in the log.
class Values {
public:
    // The arguments stay the caller's. `isLegacy` is looked at with each real.
    Values(const Shortcuts& shortcuts, const bool& isLegacy, ValueDefinitions& definitions)
        : m_shortcuts(shortcuts), m_isLegacy(isLegacy), m_definitions(definitions) {}

    // Adds a value to the list: a number, the bounds of a range, or the id of a text. Null adds nothing.
    int add(const pwr::Data* data, ZT2AttributeList& list);

    // The same, after its quantity if it has one, or with `asString` as a text, units in parentheses after
    // it. A text goes to `stringOut` if that is given; only then may the list be null.
    int add(const pwr::Data* data, const pwr::Quantity* quantity, ZT2AttributeList* list, bool asString,
            std::string* stringOut);

    // Adds the id of a text.
    int addText(const std::string& text, ZT2AttributeList* list);

    // Add a number or a range as a text. For long, unsigned long and double.
    template <typename Number>
    int addAsText(Number value, const pwr::Quantity* quantity, ZT2AttributeList* list,
                  std::string* stringOut);
    template <typename Number>
    int addRangeAsText(Number lower, Number upper, const pwr::Quantity* quantity, ZT2AttributeList* list,
                       std::string* stringOut);

private:
    int addQuantity_i(const pwr::Quantity& quantity, ZT2AttributeList* list);
    int addNumber_i(const pwr::Data& data, ZT2AttributeList* list);
    int addInt_i(const pwr::Data& data, ZT2AttributeList* list);
    int addUInt_i(const pwr::Data& data, ZT2AttributeList* list);
    int addReal_i(const pwr::Data& data, ZT2AttributeList* list);
    int addIntRange_i(const pwr::Data& data, ZT2AttributeList* list);
    int addUIntRange_i(const pwr::Data& data, ZT2AttributeList* list);
    int addRealRange_i(const pwr::Data& data, ZT2AttributeList* list);
    int addNumberAsText_i(const pwr::Data& data, const pwr::Quantity* quantity, ZT2AttributeList* list,
                          std::string* stringOut);
    int putText_i(const std::string& text, ZT2AttributeList* list, std::string* stringOut);
    std::uint64_t encode_i(double value) const;
    std::uint64_t encodeBound_i(double value, const char* bound) const;

    const Shortcuts& m_shortcuts;
    const bool& m_isLegacy;
    ValueDefinitions& m_definitions;
    std::string m_text;  // scratch
};

}  // namespace vyrta
