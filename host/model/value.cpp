#include "host/model/value.h"

#include <new>
#include <string>

#include "host/model/number_text.h"
#include "plugins/numbers.h"
#include "pwr/data_handle.h"

namespace host::model {

void Value::release_i(pwr::DataType type) {
    if (m_type == pwr::DATA_STRING) m_content.text.~basic_string();
    m_type = type;
}

void Value::setNone() {
    release_i(pwr::DATA_NONE);
}

void Value::setInt(long value) {
    release_i(pwr::DATA_INT);
    m_content.signedValue = value;
}

void Value::setUInt(unsigned long value) {
    release_i(pwr::DATA_UINT);
    m_content.unsignedValue = value;
}

void Value::setReal(double value) {
    release_i(pwr::DATA_REAL);
    m_content.realValue = value;
}

void Value::setIntRange(long low, long high) {
    release_i(pwr::DATA_INT_RANGE);
    new (&m_content.signedRange) std::pair<long, long>(low, high);
}

void Value::setUIntRange(unsigned long low, unsigned long high) {
    release_i(pwr::DATA_UINT_RANGE);
    new (&m_content.unsignedRange) std::pair<unsigned long, unsigned long>(low, high);
}

void Value::setRealRange(double low, double high) {
    release_i(pwr::DATA_REAL_RANGE);
    new (&m_content.realRange) std::pair<double, double>(low, high);
}

void Value::setHandle(const pwr::DataHandle* handle) {
    release_i(pwr::DATA_HANDLE);
    m_content.handle = handle;
}

void Value::setString(std::string_view text) {
    if (m_type == pwr::DATA_STRING) {
        m_content.text.assign(text);
        return;
    }
    new (&m_content.text) std::string(text);
    m_type = pwr::DATA_STRING;
}

}  // namespace host::model

namespace pwr {

namespace {

template <typename Number>
void appendRange(std::string& out, const std::pair<Number, Number>& range) {
    host::model::appendNumber(out, range.first);
    out += " - ";
    host::model::appendNumber(out, range.second);
}

template <typename Integer>
Integer scaled(Integer value, double factor) {
    return truncateSaturated<Integer>(static_cast<double>(value) * factor);
}

}  // namespace

Data::Data() : m_type(DATA_NONE) {}

Data::Data(const Data& other) : m_type(DATA_NONE) {
    *this = other;
}

Data::Data(const std::string& text) : m_type(DATA_STRING) {
    new (&m_content.text) std::string(text);
}

Data::Data(const unsigned long& value) : m_type(DATA_UINT) {
    m_content.unsignedValue = value;
}

Data::Data(const double& value) : m_type(DATA_REAL) {
    m_content.realValue = value;
}

Data& Data::operator=(const Data& other) {
    if (this == &other) return *this;
    if (other.m_type == DATA_STRING) {
        if (m_type == DATA_STRING) {
            m_content.text = other.m_content.text;
        } else {
            new (&m_content.text) std::string(other.m_content.text);
            m_type = DATA_STRING;
        }
        return *this;
    }
    if (m_type == DATA_STRING) m_content.text.~basic_string();
    m_type = other.m_type;
    switch (m_type) {
        case DATA_REAL:
            m_content.realValue = other.m_content.realValue;
            break;
        case DATA_HANDLE:
            m_content.handle = other.m_content.handle;
            break;
        case DATA_INT_RANGE:
            new (&m_content.signedRange) std::pair<long, long>(other.m_content.signedRange);
            break;
        case DATA_UINT_RANGE:
            new (&m_content.unsignedRange)
                std::pair<unsigned long, unsigned long>(other.m_content.unsignedRange);
            break;
        case DATA_REAL_RANGE:
            new (&m_content.realRange) std::pair<double, double>(other.m_content.realRange);
            break;
        case DATA_INT:
            m_content.signedValue = other.m_content.signedValue;
            break;
        case DATA_UINT:
            m_content.unsignedValue = other.m_content.unsignedValue;
            break;
        default:
            break;
    }
    return *this;
}

Data::~Data() {
    if (m_type == DATA_STRING) m_content.text.~basic_string();
}

int Data::toInt(long& out) const {
    if (m_type != DATA_INT) return 1;
    out = m_content.signedValue;
    return 0;
}

int Data::toUInt(unsigned long& out) const {
    if (m_type != DATA_UINT) return 1;
    out = m_content.unsignedValue;
    return 0;
}

int Data::toReal(double& out) const {
    if (m_type != DATA_REAL) return 1;
    out = m_content.realValue;
    return 0;
}

int Data::toIntRange(std::pair<long, long>& out) const {
    if (m_type != DATA_INT_RANGE) return 1;
    out = m_content.signedRange;
    return 0;
}

int Data::toUIntRange(std::pair<unsigned long, unsigned long>& out) const {
    if (m_type != DATA_UINT_RANGE) return 1;
    out = m_content.unsignedRange;
    return 0;
}

int Data::toRealRange(std::pair<double, double>& out) const {
    if (m_type != DATA_REAL_RANGE) return 1;
    out = m_content.realRange;
    return 0;
}

int Data::toString(std::string& out) const {
    if (m_type != DATA_STRING) return 1;
    out = m_content.text;
    return 0;
}

int Data::toHandle(const DataHandle*& out) const {
    if (m_type != DATA_HANDLE) return 1;
    out = m_content.handle;
    return 0;
}

int Data::toFormattedString(std::string& out) const {
    switch (m_type) {
        case DATA_STRING:
            out = m_content.text;
            return 0;
        case DATA_HANDLE:
            if (m_content.handle != nullptr) {
                out = m_content.handle->getName();
            } else {
                out.clear();
            }
            return 0;
        default:
            break;
    }
    out.clear();
    switch (m_type) {
        case DATA_INT:
            host::model::appendNumber(out, m_content.signedValue);
            break;
        case DATA_UINT:
            host::model::appendNumber(out, m_content.unsignedValue);
            break;
        case DATA_REAL:
            host::model::appendNumber(out, m_content.realValue);
            break;
        case DATA_INT_RANGE:
            appendRange(out, m_content.signedRange);
            break;
        case DATA_UINT_RANGE:
            appendRange(out, m_content.unsignedRange);
            break;
        case DATA_REAL_RANGE:
            appendRange(out, m_content.realRange);
            break;
        default:
            break;
    }
    return 0;
}

bool Data::isNumeric() const {
    return m_type >= DATA_INT && m_type <= DATA_REAL_RANGE;
}

void Data::multiplyValue(double factor) {
    switch (m_type) {
        case DATA_INT:
            m_content.signedValue = scaled(m_content.signedValue, factor);
            break;
        case DATA_UINT:
            m_content.unsignedValue = scaled(m_content.unsignedValue, factor);
            break;
        case DATA_REAL:
            m_content.realValue *= factor;
            break;
        case DATA_INT_RANGE:
            m_content.signedRange = {scaled(m_content.signedRange.first, factor),
                                     scaled(m_content.signedRange.second, factor)};
            break;
        case DATA_UINT_RANGE:
            m_content.unsignedRange = {scaled(m_content.unsignedRange.first, factor),
                                       scaled(m_content.unsignedRange.second, factor)};
            break;
        case DATA_REAL_RANGE:
            m_content.realRange.first *= factor;
            m_content.realRange.second *= factor;
            break;
        default:
            break;
    }
}

int Data::convertToReal(const Data* source) {
    host::model::Value real(*source);
    const Content& from = source->m_content;
    switch (source->m_type) {
        case DATA_INT:
            real.setReal(static_cast<double>(from.signedValue));
            break;
        case DATA_UINT:
            real.setReal(static_cast<double>(from.unsignedValue));
            break;
        case DATA_INT_RANGE:
            real.setRealRange(static_cast<double>(from.signedRange.first),
                              static_cast<double>(from.signedRange.second));
            break;
        case DATA_UINT_RANGE:
            real.setRealRange(static_cast<double>(from.unsignedRange.first),
                              static_cast<double>(from.unsignedRange.second));
            break;
        default:
            break;
    }
    *this = real;
    return isNumeric() ? 0 : 1;
}

}  // namespace pwr
