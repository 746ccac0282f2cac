#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "pwr/api.h"

namespace pwr {

class DataHandle;

// What a pwr::Data holds.
enum DataType : std::uint8_t {
    DATA_NONE = 0,
    DATA_INT = 1,
    DATA_UINT = 2,
    DATA_REAL = 3,
    DATA_INT_RANGE = 4,
    DATA_UINT_RANGE = 5,
    DATA_REAL_RANGE = 6,
    DATA_HANDLE = 7,
    DATA_STRING = 8,
};

// A tagged value with value semantics.
//
// The readers return 0 when the value is of exactly their kind and fill their argument; otherwise they
// return non-zero and leave the argument as it was.
class PWR_HOST_API Data {
public:
    Data(const Data& other);
    explicit Data(const std::string& text);     // DATA_STRING
    explicit Data(const unsigned long& value);  // DATA_UINT
    explicit Data(const double& value);         // DATA_REAL
    Data& operator=(const Data& other);
    ~Data();

    int toInt(long& out) const;
    int toUInt(unsigned long& out) const;
    int toReal(double& out) const;
    int toIntRange(std::pair<long, long>& out) const;                     // low, high
    int toUIntRange(std::pair<unsigned long, unsigned long>& out) const;  // low, high
    int toRealRange(std::pair<double, double>& out) const;                // low, high
    int toString(std::string& out) const;
    // The handle belongs to the host and may be null.
    int toHandle(const DataHandle*& out) const;

    // Replaces `out` by the value as display text. Returns 0.
    int toFormattedString(std::string& out) const;

    // True for numbers and ranges of numbers (kinds 1 to 6).
    bool isNumeric() const;

    // Scales a number or both ends of a range in place; integers are truncated toward zero.
    // Leaves other kinds alone.
    void multiplyValue(double factor);

    // Makes this object a copy of `source` with its numbers made real; a range stays a range.
    // Returns 0 for kinds 1 to 6; for other kinds copies the value as it is and returns non-zero.
    int convertToReal(const Data* source);

    DataType m_type;

protected:
    // For the host, which makes values of all kinds.
    Data();

    union Content {
        Content() : unsignedRange{} {}
        ~Content() {}
        long signedValue;
        unsigned long unsignedValue;
        double realValue;
        std::pair<long, long> signedRange;
        std::pair<unsigned long, unsigned long> unsignedRange;
        std::pair<double, double> realRange;
        const DataHandle* handle;
        std::string text;
    } m_content;
};

}  // namespace pwr
