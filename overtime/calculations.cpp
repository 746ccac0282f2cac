// The cells of sampled tables.
#include "overtime/int_writer_v2.h"
#include "plugins/log.h"
#include "plugins/numbers.h"

namespace {

constexpr double MICROSECONDS_PER_SECOND = 1000000.0;
constexpr double PERCENT = 100.0;

bool readTicks(const pwr::Data& value, unsigned long& ticks) {
    return value.m_type == pwr::DATA_UINT && value.toUInt(ticks) == 0;
}

}  // namespace

IntWriterV2::Calculate IntWriterV2::calculateOf_i(Calculations calculation) {
    switch (calculation) {
        case CalculationInstantaneousRate:
            return &IntWriterV2::calculateRate_i;
        case CalculationResidencyPercentage:
            return &IntWriterV2::calculatePercentage_i;
        case CalculationResidencyTime:
            return &IntWriterV2::calculateTime_i;
        case CalculationNone:
            break;
    }
    return &IntWriterV2::calculateNothing_i;
}

std::int32_t IntWriterV2::calculateNothing_i(const SampledMessage&, const pwr::Data& value, std::uint64_t) {
    m_cell.clear();
    value.toFormattedString(m_cell);
    return 0;
}

std::int32_t IntWriterV2::calculateRate_i(const SampledMessage& message, const pwr::Data& value,
                                          std::uint64_t duration) {
    if (!message.hasRate) {
        LOG_WARNING_TAG(message.logTag, "Rate conversion is not specified. Unable to calculate rate.\n");
        return 1;
    }
    if (!value.isNumeric()) {
        LOG_WARNING_TAG(message.logTag,
                        "Calculation of instantaneous rate is requested, but the value is not numeric.\n");
        return 1;
    }
    const double seconds = static_cast<double>(duration) / (m_timestampFrequency * MICROSECONDS_PER_SECOND);
    const double factor = message.rateFactor / seconds;
    double number = 0.0;
    if (readNumber(value, number)) {
        m_realFormatter.format(m_cell, pwr::Data(number * factor));
        return 0;
    }
    pwr::Data rate(0.0);
    rate.convertToReal(&value);
    rate.multiplyValue(factor);
    m_realFormatter.format(m_cell, rate);
    return 0;
}

std::int32_t IntWriterV2::calculatePercentage_i(const SampledMessage& message, const pwr::Data& value,
                                                std::uint64_t duration) {
    unsigned long ticks = 0;
    if (!readTicks(value, ticks)) {
        LOG_WARNING_TAG(
            message.logTag,
            "Calculation of residency percentages is requested, but the value is not of uint type.\n");
        return 1;
    }
    const double percentage = static_cast<double>(ticks) / static_cast<double>(duration) * PERCENT;
    m_realFormatter.format(m_cell, pwr::Data(percentage));
    return 0;
}

std::int32_t IntWriterV2::calculateTime_i(const SampledMessage& message, const pwr::Data& value,
                                          std::uint64_t) {
    unsigned long ticks = 0;
    if (!readTicks(value, ticks)) {
        LOG_WARNING_TAG(
            message.logTag,
            "Calculation of time in micro-seconds is requested, but the value is not of uint type.\n");
        return 1;
    }
    formatTicks_i(ticks, TimeConversionMicroseconds, m_cell);
    return 0;
}
