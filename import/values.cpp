#include "import/values.h"

#include <bit>
#include <charconv>
#include <type_traits>

#include "import/attribute_list.h"
#include "import/once_tags.h"
#include "import/vyrta_log.h"
#include "plugins/numbers.h"
#include "pwr/utilities.h"

namespace vyrta {

namespace {

// As pwr::to_string has it, without a stream.
template <typename Number>
void appendNumber(std::string& out, Number value) {
    char text[32];
    std::to_chars_result result{};
    if constexpr (std::is_floating_point_v<Number>)
        result = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6);
    else
        result = std::to_chars(text, text + sizeof text, value);
    out.append(text, result.ptr);
}

void appendUnits(std::string& out, const pwr::Quantity* quantity) {
    if (quantity != nullptr) out.append("(").append(quantity->toUnitsString()).append(")");
}

template <int TAG>
void noteReals(bool isLegacy) {
    if (isLegacy) return;
    pwr::executeOnce<TAG>(
        [] { LOG_NOTE("The generated .pwr file can only be visualized in Vyrta 2018 Update 3 or later\n"); });
}

}  // namespace

int Values::add(const pwr::Data* data, ZT2AttributeList& list) {
    if (data == nullptr) return 0;
    if (data->m_type != pwr::DATA_STRING) return addNumber_i(*data, &list);
    data->toString(m_text);
    return putText_i(m_text, &list, nullptr);
}

int Values::add(const pwr::Data* data, const pwr::Quantity* quantity, ZT2AttributeList* list, bool asString,
                std::string* stringOut) {
    if (data == nullptr) return 0;
    if (list == nullptr && stringOut == nullptr) return VYRTA_FAIL("Invalid attribute list.\n");
    if (quantity != nullptr && !asString && addQuantity_i(*quantity, list) != 0) return 1;
    if (data->m_type == pwr::DATA_STRING) {
        data->toString(m_text);
        return putText_i(m_text, list, stringOut);
    }
    return asString ? addNumberAsText_i(*data, quantity, list, stringOut) : addNumber_i(*data, list);
}

int Values::addQuantity_i(const pwr::Quantity& quantity, ZT2AttributeList* list) {
    long id = -1;
    if (m_definitions.defineQuantity(quantity, id) != 0)
        return VYRTA_FAIL("Failed to handle quantity metadata uid:%lu'.\n", quantity.getId());
    if (appendAttribute(ATTRIBUTE_KIND_QUANTITY, static_cast<std::uint64_t>(id), list) != 0)
        return VYRTA_FAIL("Unable to add quantity attribute to the record.\n");
    return 0;
}

// Adds a number, or the bounds of a range, as they are.
int Values::addNumber_i(const pwr::Data& data, ZT2AttributeList* list) {
    switch (data.m_type) {
        case pwr::DATA_INT:
            return addInt_i(data, list);
        case pwr::DATA_UINT:
            return addUInt_i(data, list);
        case pwr::DATA_REAL:
            return addReal_i(data, list);
        case pwr::DATA_INT_RANGE:
            return addIntRange_i(data, list);
        case pwr::DATA_UINT_RANGE:
            return addUIntRange_i(data, list);
        case pwr::DATA_REAL_RANGE:
            return addRealRange_i(data, list);
        default:
            return VYRTA_FAIL("Unsupported data type obtained.\n");
    }
}

int Values::addInt_i(const pwr::Data& data, ZT2AttributeList* list) {
    long value = 0;
    data.toInt(value);
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_INT, static_cast<std::uint64_t>(value), list) == 0)
        return 0;
    return VYRTA_FAIL("Unable to add integer value '%ld' to the record.\n", value);
}

int Values::addUInt_i(const pwr::Data& data, ZT2AttributeList* list) {
    unsigned long value = 0;
    data.toUInt(value);
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_UINT, value, list) == 0) return 0;
    return VYRTA_FAIL("Unable to add unsigned integer value '%lu' to the record.\n", value);
}

int Values::addReal_i(const pwr::Data& data, ZT2AttributeList* list) {
    double value = 0;
    data.toReal(value);
    noteReals<ONCE_REAL_NOTE>(m_isLegacy);
    const std::uint64_t encoded = encode_i(value);
    if (!m_shortcuts.allow(true))
        VYRTA_DEBUG("Adding real value '%lf' to the record. Encoded 64bit value: %lu, real value: %lf\n",
                    value, encoded, value);
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_REAL, encoded, list) == 0) return 0;
    return VYRTA_FAIL("Unable to add real value '%lf' to the record.\n", value);
}

int Values::addIntRange_i(const pwr::Data& data, ZT2AttributeList* list) {
    std::pair<long, long> range;
    data.toIntRange(range);
    const auto [lower, upper] = range;
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_INT_LOWER_BOUND, static_cast<std::uint64_t>(lower),
                        list) != 0)
        return VYRTA_FAIL("Unable to add lower bound integer value '%ld' to the record.\n", lower);
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_INT_UPPER_BOUND, static_cast<std::uint64_t>(upper),
                        list) != 0)
        return VYRTA_FAIL("Unable to add upper bound integer value '%ld' to the record.\n", upper);
    return 0;
}

int Values::addUIntRange_i(const pwr::Data& data, ZT2AttributeList* list) {
    std::pair<unsigned long, unsigned long> range;
    data.toUIntRange(range);
    const auto [lower, upper] = range;
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_UINT_LOWER_BOUND, lower, list) != 0)
        return VYRTA_FAIL("Unable to add lower bound unsigned integer value '%lu' to the record.\n", lower);
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_UINT_UPPER_BOUND, upper, list) != 0)
        return VYRTA_FAIL("Unable to add upper bound unsigned integer value '%lu' to the record.\n", upper);
    return 0;
}

int Values::addRealRange_i(const pwr::Data& data, ZT2AttributeList* list) {
    std::pair<double, double> range;
    data.toRealRange(range);
    const auto [lower, upper] = range;
    noteReals<ONCE_REAL_RANGE_NOTE>(m_isLegacy);
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_REAL_LOWER_BOUND, encodeBound_i(lower, "lower"), list) !=
        0)
        return VYRTA_FAIL("Unable to add lower bound real value '%lf' to the record.\n", lower);
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_REAL_UPPER_BOUND, encodeBound_i(upper, "upper"), list) !=
        0)
        return VYRTA_FAIL("Unable to add upper bound real value '%lf' to the record.\n", upper);
    return 0;
}

std::uint64_t Values::encode_i(double value) const {
    return m_isLegacy ? truncateSaturated<std::uint64_t>(value) : std::bit_cast<std::uint64_t>(value);
}

// `bound` is its word in the debug line.
std::uint64_t Values::encodeBound_i(double value, const char* bound) const {
    const std::uint64_t encoded = encode_i(value);
    if (!m_shortcuts.allow(true))
        VYRTA_DEBUG(
            "Adding %s bound real value '%lf' to the record. Encoded 64bit value: %lu, real value: %lf\n",
            bound, value, encoded, value);
    return encoded;
}

// Adds a number or a range as a text.
int Values::addNumberAsText_i(const pwr::Data& data, const pwr::Quantity* quantity, ZT2AttributeList* list,
                              std::string* stringOut) {
    const auto value = [&](auto read, auto number) {
        (data.*read)(number);
        if (addAsText(number, quantity, list, stringOut) == 0) return 0;
        return VYRTA_FAIL("Unable to process value attribute as string'.\n");
    };
    const auto range = [&](auto read, auto bounds) {
        (data.*read)(bounds);
        if (addRangeAsText(bounds.first, bounds.second, quantity, list, stringOut) == 0) return 0;
        return VYRTA_FAIL("Unable to process value range attribute as string'.\n");
    };
    switch (data.m_type) {
        case pwr::DATA_INT:
            return value(&pwr::Data::toInt, 0L);
        case pwr::DATA_UINT:
            return value(&pwr::Data::toUInt, 0UL);
        case pwr::DATA_REAL:
            return value(&pwr::Data::toReal, 0.0);
        case pwr::DATA_INT_RANGE:
            return range(&pwr::Data::toIntRange, std::pair<long, long>());
        case pwr::DATA_UINT_RANGE:
            return range(&pwr::Data::toUIntRange, std::pair<unsigned long, unsigned long>());
        case pwr::DATA_REAL_RANGE:
            return range(&pwr::Data::toRealRange, std::pair<double, double>());
        default:
            return VYRTA_FAIL("Unsupported data type obtained.\n");
    }
}

template <typename Number>
int Values::addAsText(Number value, const pwr::Quantity* quantity, ZT2AttributeList* list,
                      std::string* stringOut) {
    m_text.clear();
    appendNumber(m_text, value);
    appendUnits(m_text, quantity);
    return putText_i(m_text, list, stringOut);
}

template <typename Number>
int Values::addRangeAsText(Number lower, Number upper, const pwr::Quantity* quantity, ZT2AttributeList* list,
                           std::string* stringOut) {
    m_text.clear();
    appendNumber(m_text, lower);
    m_text += '-';
    appendNumber(m_text, upper);
    appendUnits(m_text, quantity);
    return putText_i(m_text, list, stringOut);
}

using Units = const pwr::Quantity*;
template int Values::addAsText(long, Units, ZT2AttributeList*, std::string*);
template int Values::addAsText(unsigned long, Units, ZT2AttributeList*, std::string*);
template int Values::addAsText(double, Units, ZT2AttributeList*, std::string*);
template int Values::addRangeAsText(long, long, Units, ZT2AttributeList*, std::string*);
template int Values::addRangeAsText(unsigned long, unsigned long, Units, ZT2AttributeList*, std::string*);
template int Values::addRangeAsText(double, double, Units, ZT2AttributeList*, std::string*);

// Gives a text to `stringOut` if there is one, else to the list.
int Values::putText_i(const std::string& text, ZT2AttributeList* list, std::string* stringOut) {
    if (stringOut != nullptr) {
        *stringOut = text;
        return 0;
    }
    if (addText(text, list) == 0) return 0;
    return VYRTA_FAIL("Unable to process string value '%s'.\n", text.c_str());
}

int Values::addText(const std::string& text, ZT2AttributeList* list) {
    if (list == nullptr) return VYRTA_FAIL("Invalid attribute list.\n");
    std::uint64_t id = 0;
    if (m_definitions.defineText(text, id) != 0) return 1;
    if (appendAttribute(m_shortcuts, ATTRIBUTE_KIND_INFO, id, list) != 0)
        return VYRTA_FAIL("Unable to add string value '%s' to the record.\n", text.c_str());
    return 0;
}

}  // namespace vyrta
