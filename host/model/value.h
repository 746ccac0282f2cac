#pragma once

#include <cstdint>
#include <string_view>

#include "pwr/data.h"

namespace host::model {

// A value that can be given any kind. It adds nothing to the size of its base, so it can stand wherever a
// pwr::Data is copied from. A setter replaces kind and content.
class Value : public pwr::Data {
public:
    Value() = default;
    explicit Value(const pwr::Data& other) : Data(other) {}

    void setNone();
    void setInt(long value);
    void setUInt(unsigned long value);
    void setReal(double value);
    void setIntRange(long low, long high);
    void setUIntRange(unsigned long low, unsigned long high);
    void setRealRange(double low, double high);
    void setHandle(const pwr::DataHandle* handle);  // may be null; stays the caller's
    void setString(std::string_view text);          // reuses the buffer of an earlier string

private:
    void release_i(pwr::DataType type);
};

static_assert(sizeof(Value) == sizeof(pwr::Data));

}  // namespace host::model
