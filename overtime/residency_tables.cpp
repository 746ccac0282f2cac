// Which tables the metrics with calculated values have.
#include "overtime/int_writer_v2.h"
#include "plugins/log.h"

namespace {

// The inner keys of a metric's tables, which are also their order.
constexpr std::uint64_t PLAIN_TABLE = 0;
constexpr std::uint64_t RATE_TABLE = 1;
constexpr std::uint64_t RESIDENCY_TIME_TABLE = 1;
constexpr std::uint64_t RESIDENCY_PERCENTAGE_TABLE = 2;

const std::string NO_SUFFIX;

// Texts that take memory are made at their first use, where a lack of it can be handled.
const std::string& rateSuffix() {
    static const std::string text = " : Instantaneous rate";
    return text;
}
const std::string& residencyTimeSuffix() {
    static const std::string text = " : Residency Time";
    return text;
}
const std::string& residencyPercentageSuffix() {
    static const std::string text = " : Residency Percentage";
    return text;
}

const std::string NOT_AVAILABLE = "n/a";
const std::string NO_TIME = "0";
const std::string NO_PERCENTAGE = "0.00";

}  // namespace

std::int32_t IntWriterV2::writeSampledDeltaMetric(const pwr::Metric& metric) {
    writeSampledGeneric(metric, PLAIN_TABLE, CalculationNone, metric.m_quantity, NO_SUFFIX, NOT_AVAILABLE);
    const pwr::Quantity* rateQuantity = nullptr;
    double factor = 1.0;
    if (metric.m_quantity != nullptr && metric.m_quantity->getRateConversion(rateQuantity, factor) == 0) {
        writeSampledGeneric(metric, RATE_TABLE, CalculationInstantaneousRate, rateQuantity, rateSuffix(),
                            NOT_AVAILABLE);
    } else {
        LOG_DEBUG_TAG(TEXT_WRITER_TAG,
                      "Rate conversion not specified. Instantaneous rate cannot be calculated.\n");
    }
    return 0;
}

std::int32_t IntWriterV2::writeSampledResidencyMetric(const pwr::Metric& metric) {
    const pwr::TimelineTableType type = m_timelineTableTypes[metric.m_id];
    if (type == pwr::TIMELINE_TABLE_BOTH || type == pwr::TIMELINE_TABLE_TIME) {
        if (m_doTimelineResidencyTicks) {
            writeSampledGeneric(metric, PLAIN_TABLE, CalculationNone, metric.m_quantity, NO_SUFFIX, NO_TIME);
        } else {
            writeSampledGeneric(metric, RESIDENCY_TIME_TABLE, CalculationResidencyTime, metric.m_quantity,
                                residencyTimeSuffix(), NO_TIME);
        }
    }
    if (type == pwr::TIMELINE_TABLE_BOTH || type == pwr::TIMELINE_TABLE_PERCENTAGE) {
        writeSampledGeneric(metric, RESIDENCY_PERCENTAGE_TABLE, CalculationResidencyPercentage,
                            metric.m_quantity, residencyPercentageSuffix(), NO_PERCENTAGE);
    }
    return 0;
}
