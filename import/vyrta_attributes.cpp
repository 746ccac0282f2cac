// Values and attributes as the attributes of a sample, and as strings.
#include <charconv>
#include <type_traits>

#include "import/once_tags.h"
#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"
#include "pwr/utilities.h"

using namespace vyrta;

namespace {

// As pwr::to_string has it, without a stream.
template <typename T>
void appendNumber(std::string& out, T value) {
    char text[32];
    std::to_chars_result result{};
    if constexpr (std::is_floating_point_v<T>)
        result = std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6);
    else
        result = std::to_chars(text, text + sizeof text, value);
    out.append(text, result.ptr);
}

void appendUnits(std::string& out, const pwr::Quantity* quantity) {
    if (quantity != nullptr) out.append("(").append(quantity->toUnitsString()).append(")");
}

}  // namespace

int VyrtaWriter::processData(const pwr::Data* data, const pwr::Quantity* quantity, ZT2AttributeList* list,
                             bool asString, std::string* stringOut) {
    if (data == nullptr) return 0;
    if (list == nullptr && stringOut == nullptr) return VYRTA_FAIL("Invalid attribute list.\n");
    if (quantity != nullptr && !asString && addQuantity_i(quantity, list) != 0) return 1;
    if (data->m_type == pwr::DATA_STRING) {
        data->toString(m_text);
        return putText_i(m_text, list, stringOut);
    }
    return asString ? addText_i(data, quantity, list, stringOut) : addValue_i(data, list);
}

int VyrtaWriter::addQuantity_i(const pwr::Quantity* quantity, ZT2AttributeList* list) {
    long id = -1;
    if (handleQuantityMetadata(quantity, id) != 0)
        return VYRTA_FAIL("Failed to handle quantity metadata uid:%lu'.\n", quantity->getId());
    if (addAttributeToRecord(ATTRIBUTE_KIND_QUANTITY, static_cast<unsigned long>(id), list) != 0)
        return VYRTA_FAIL("Unable to add quantity attribute to the record.\n");
    return 0;
}

// Adds a number, or the bounds of a range, as they are.
int VyrtaWriter::addValue_i(const pwr::Data* data, ZT2AttributeList* list) {
    switch (data->m_type) {
        case pwr::DATA_INT: {
            long value = 0;
            data->toInt(value);
            if (add_i(ATTRIBUTE_KIND_INT, static_cast<std::uint64_t>(value), list) == 0) return 0;
            return VYRTA_FAIL("Unable to add integer value '%ld' to the record.\n", value);
        }
        case pwr::DATA_UINT: {
            unsigned long value = 0;
            data->toUInt(value);
            if (add_i(ATTRIBUTE_KIND_UINT, value, list) == 0) return 0;
            return VYRTA_FAIL("Unable to add unsigned integer value '%lu' to the record.\n", value);
        }
        case pwr::DATA_REAL: {
            double value = 0;
            data->toReal(value);
            return addReal_i(value, list);
        }
        case pwr::DATA_INT_RANGE: {
            std::pair<long, long> range;
            data->toIntRange(range);
            if (add_i(ATTRIBUTE_KIND_INT_LOWER_BOUND, static_cast<std::uint64_t>(range.first), list) != 0)
                return VYRTA_FAIL("Unable to add lower bound integer value '%ld' to the record.\n",
                                  range.first);
            if (add_i(ATTRIBUTE_KIND_INT_UPPER_BOUND, static_cast<std::uint64_t>(range.second), list) != 0)
                return VYRTA_FAIL("Unable to add upper bound integer value '%ld' to the record.\n",
                                  range.second);
            return 0;
        }
        case pwr::DATA_UINT_RANGE: {
            std::pair<unsigned long, unsigned long> range;
            data->toUIntRange(range);
            if (add_i(ATTRIBUTE_KIND_UINT_LOWER_BOUND, range.first, list) != 0)
                return VYRTA_FAIL("Unable to add lower bound unsigned integer value '%lu' to the record.\n",
                                  range.first);
            if (add_i(ATTRIBUTE_KIND_UINT_UPPER_BOUND, range.second, list) != 0)
                return VYRTA_FAIL("Unable to add upper bound unsigned integer value '%lu' to the record.\n",
                                  range.second);
            return 0;
        }
        case pwr::DATA_REAL_RANGE: {
            std::pair<double, double> range;
            data->toRealRange(range);
            return addRealRange_i(range, list);
        }
        default:
            return VYRTA_FAIL("Unsupported data type obtained.\n");
    }
}

int VyrtaWriter::addReal_i(double value, ZT2AttributeList* list) {
    if (!m_legacyFormat)
        pwr::executeOnce<ONCE_REAL_NOTE>([] {
            LOG_NOTE("The generated .pwr file can only be visualized in Vyrta 2018 Update 3 or later\n");
        });
    const std::uint64_t encoded = encodeReal_i(value);
    if (m_isVerbose)
        VYRTA_DEBUG("Adding real value '%lf' to the record. Encoded 64bit value: %lu, real value: %lf\n",
                    value, encoded, value);
    if (add_i(ATTRIBUTE_KIND_REAL, encoded, list) == 0) return 0;
    return VYRTA_FAIL("Unable to add real value '%lf' to the record.\n", value);
}

int VyrtaWriter::addRealRange_i(const std::pair<double, double>& range, ZT2AttributeList* list) {
    if (!m_legacyFormat)
        pwr::executeOnce<ONCE_REAL_RANGE_NOTE>([] {
            LOG_NOTE("The generated .pwr file can only be visualized in Vyrta 2018 Update 3 or later\n");
        });
    std::uint64_t encoded = encodeReal_i(range.first);
    if (m_isVerbose)
        VYRTA_DEBUG(
            "Adding lower bound real value '%lf' to the record. Encoded 64bit value: %lu, real value: %lf\n",
            range.first, encoded, range.first);
    if (add_i(ATTRIBUTE_KIND_REAL_LOWER_BOUND, encoded, list) != 0)
        return VYRTA_FAIL("Unable to add lower bound real value '%lf' to the record.\n", range.first);
    encoded = encodeReal_i(range.second);
    if (m_isVerbose)
        VYRTA_DEBUG(
            "Adding upper bound real value '%lf' to the record. Encoded 64bit value: %lu, real value: %lf\n",
            range.second, encoded, range.second);
    if (add_i(ATTRIBUTE_KIND_REAL_UPPER_BOUND, encoded, list) != 0)
        return VYRTA_FAIL("Unable to add upper bound real value '%lf' to the record.\n", range.second);
    return 0;
}

// Adds a number or a range as a string.
int VyrtaWriter::addText_i(const pwr::Data* data, const pwr::Quantity* quantity, ZT2AttributeList* list,
                           std::string* stringOut) {
    const auto value = [&](auto read, auto number) {
        (data->*read)(number);
        if (processValueAsString(number, quantity, list, stringOut) == 0) return 0;
        return VYRTA_FAIL("Unable to process value attribute as string'.\n");
    };
    const auto range = [&](auto read, auto bounds) {
        (data->*read)(bounds);
        if (processRangeAsString(bounds.first, bounds.second, quantity, list, stringOut) == 0) return 0;
        return VYRTA_FAIL("Unable to process value range attribute as string'.\n");
    };
    switch (data->m_type) {
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

template <typename T>
int VyrtaWriter::processValueAsString(T value, const pwr::Quantity* quantity, ZT2AttributeList* list,
                                      std::string* stringOut) {
    m_text.clear();
    appendNumber(m_text, value);
    appendUnits(m_text, quantity);
    return putText_i(m_text, list, stringOut);
}

template <typename T>
int VyrtaWriter::processRangeAsString(T lower, T upper, const pwr::Quantity* quantity, ZT2AttributeList* list,
                                      std::string* stringOut) {
    m_text.clear();
    appendNumber(m_text, lower);
    m_text += '-';
    appendNumber(m_text, upper);
    appendUnits(m_text, quantity);
    return putText_i(m_text, list, stringOut);
}

// Gives a text to `stringOut` if there is one, else to the list.
int VyrtaWriter::putText_i(const std::string& text, ZT2AttributeList* list, std::string* stringOut) {
    if (stringOut != nullptr) {
        *stringOut = text;
        return 0;
    }
    if (processStringData(text, list) == 0) return 0;
    return VYRTA_FAIL("Unable to process string value '%s'.\n", text.c_str());
}

int VyrtaWriter::processStringData(const std::string& text, ZT2AttributeList* list) {
    if (list == nullptr) return VYRTA_FAIL("Invalid attribute list.\n");
    auto found = m_strings.find(text);
    if (found == m_strings.end()) {
        const long typeId = getInfoTypeMetadataId("nameid_attribute");
        if (typeId == -1) return 1;
        const unsigned long id = drawId_i("nameid_attribute");
        if (writeInfoMetadataHelper("nameid_attribute", static_cast<unsigned long>(typeId), text, text, "", 0,
                                    id, -1) != 0)
            return VYRTA_FAIL("Failed to write an info record for string attribute '%s'.\n", text.c_str());
        found = m_strings.emplace(text, id).first;
    }
    if (add_i(ATTRIBUTE_KIND_INFO, found->second, list) != 0)
        return VYRTA_FAIL("Unable to add string value '%s' to the record.\n", text.c_str());
    return 0;
}
