// Values and attributes as the attributes of a sample, and as strings.
#include "import/vyrtawriter_plugin.h"

using namespace vyrta;

int VyrtaWriter::addAttributeToRecord(unsigned int type, unsigned long value, ZT2AttributeList* list) {
    return appendAttribute(type, value, list);
}

int VyrtaWriter::processData(const pwr::Data* data, const pwr::Quantity* quantity, ZT2AttributeList* list,
                             bool asString, std::string* stringOut) {
    return m_values.add(data, quantity, list, asString, stringOut);
}

int VyrtaWriter::processStringData(const std::string& text, ZT2AttributeList* list) {
    return m_values.addText(text, list);
}

int VyrtaWriter::processInfoAttributes(const pwr::AttributeValueManager* manager, ZT2AttributeList* list) {
    return m_handleAttributes.addInfos(manager, m_elements.inventedAttribute(), list);
}

int VyrtaWriter::processInfoAttributes(const pwr::DynamicAttributeValueManager* manager,
                                       ZT2AttributeList* list) {
    return m_handleAttributes.addInfos(manager, list);
}

int VyrtaWriter::processInfoAttributesHelper(const pwr::Attribute* attribute, const pwr::Data* data,
                                             ZT2AttributeList* list) {
    return m_handleAttributes.addInfo(attribute, data, list);
}

int VyrtaWriter::processDataAttributes(const pwr::AttributeValueManager* manager, ZT2AttributeList* list,
                                       bool allAsString) {
    return m_handleAttributes.addData(manager, list, allAsString);
}

int VyrtaWriter::processDataAttributes(const pwr::DynamicAttributeValueManager* manager,
                                       ZT2AttributeList* list, bool allAsString) {
    return m_handleAttributes.addData(manager, list, allAsString);
}

int VyrtaWriter::processDataAttributesHelper(const pwr::Attribute* attribute, const pwr::Data* data,
                                             ZT2AttributeList* list, bool asString, std::string* stringOut) {
    return m_handleAttributes.addDatum(attribute, data, list, asString, stringOut);
}

int VyrtaWriter::getFirstDataAttributeAsString(const pwr::AttributeValueManager* manager, std::string* out) {
    return m_handleAttributes.readFirstText(manager, out);
}
