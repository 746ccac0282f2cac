// Which tables the metrics with calculated values have.
#include "overtime/int_writer_v2.h"
#include "plugins/log.h"

namespace {

// The inner keys of a metric's tables, which are also their order.
constexpr std::uint64_t PLAIN_TABLE = 0;
constexpr std::uint64_t RATE_TABLE = 1;
constexpr std::uint64_t RESIDENCY_TIME_TABLE = 1;
constexpr std::uint64_t RESIDENCY_PERCENTAGE_TABLE = 2;

// The texts that new tables get.
struct Texts {
    std::string noSuffix;
    std::string rate = " : Instantaneous rate";
    std::string residencyTime = " : Residency Time";
    std::string residencyPercentage = " : Residency Percentage";
    std::string notAvailable = "n/a";
    std::string noTime = "0";
    std::string noPercentage = "0.00";
};

const Texts& texts() {
    static const Texts s_texts;
    return s_texts;
}

}  // namespace

std::int32_t IntWriterV2::writeSampledDeltaMetric(const pwr::Metric& metric) {
    writeSampledGeneric(metric, PLAIN_TABLE, CalculationNone, metric.m_quantity, texts().noSuffix,
                        texts().notAvailable);
    const pwr::Quantity* rateQuantity = nullptr;
    double factor = 1.0;
    if (metric.m_quantity != nullptr && metric.m_quantity->getRateConversion(rateQuantity, factor) == 0) {
        writeSampledGeneric(metric, RATE_TABLE, CalculationInstantaneousRate, rateQuantity, texts().rate,
                            texts().notAvailable);
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
            writeSampledGeneric(metric, PLAIN_TABLE, CalculationNone, metric.m_quantity, texts().noSuffix,
                                texts().noTime);
        } else {
            writeSampledGeneric(metric, RESIDENCY_TIME_TABLE, CalculationResidencyTime, metric.m_quantity,
                                texts().residencyTime, texts().noTime);
        }
    }
    if (type == pwr::TIMELINE_TABLE_BOTH || type == pwr::TIMELINE_TABLE_PERCENTAGE) {
        writeSampledGeneric(metric, RESIDENCY_PERCENTAGE_TABLE, CalculationResidencyPercentage,
                            metric.m_quantity, texts().residencyPercentage, texts().noPercentage);
    }
    return 0;
}
