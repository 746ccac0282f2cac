// From a metric message to a sample: elements grouped by entity, each id defined, time running forward.
#include "import/vyrta_log.h"
#include "import/vyrtawriter_plugin.h"
#include "plugins/memory_guard.h"

using namespace vyrta;

namespace {

bool isTraced(const pwr::Metric& metric) {
    return metric.m_metricType == pwr::Metric::TRACED_VALUE_TRANSITION ||
           metric.m_metricType == pwr::Metric::TRACED_EVENT;
}

bool isWakelock(const pwr::Metric& metric) {
    return metric.m_metricType == pwr::Metric::TRACED_VALUE_TRANSITION &&
           (metric.m_tableClass == pwr::REAL_TABLE_CLASS_KERNEL_WAKELOCK ||
            metric.m_tableClass == pwr::REAL_TABLE_CLASS_USER_WAKELOCK);
}

std::uint64_t startTsc(const VyrtaCollectionInfo* info) {
    return info != nullptr ? info->startTsc : 0;
}

}  // namespace

std::int32_t VyrtaWriter::writeMessage(const pwr::Metric& metric) {
    const auto convert = [&] {
        m_isTextTooLong = false;
        const MetricCache& cache = m_metrics.find(metric);
        if (*cache.storedName != metric.m_name) *cache.storedName = metric.m_name;
        return cache.isRefused ? 1 : handleMetricMessage(metric);
    };
    if (guardMemory(VYRTA_OPTION_NAME, 1, convert) == 0) return 0;
    reportReason_i(metric);
    // Without memory the sample is lost, so that the metric is void like after any other failure.
    const auto markVoid = [&] {
        setInvalidTempFile(metric.m_id);
        return true;
    };
    if (!guardMemory(VYRTA_OPTION_NAME, false, markVoid)) m_impl->m_valid = false;
    return 1;
}

// Says why a metric is about to become void, where its user can do something about it.
void VyrtaWriter::reportReason_i(const pwr::Metric& metric) const {
    const VyrtaBackingStoreManager* const manager = m_impl->findBackingStore(metric.m_id);
    const bool isVoid = !m_impl->m_valid || (manager != nullptr && !manager->m_valid);
    if (m_isTextTooLong && !isVoid)
        LOG_ERROR("%s leaves out the metric \"%s\": it needs a text that is too long for the format\n",
                  m_impl->m_fileName.c_str(), metric.m_name.c_str());
}

int VyrtaWriter::handleMetricMessage(const pwr::Metric& metric) {
    m_shortcuts.choose();
    if (isWakelock(metric)) return handleWakelockSampleNonGeneric(&metric);

    MetricCache& cache = m_metrics.find(metric);
    unsigned short metricClass = METRIC_CLASS_UNKNOWN;
    if (m_elements.collect(metric, cache, metricClass) != 0) return 1;
    if (!m_shortcuts.allow(cache.isDefined)) {
        if (handleMetricMetadata(&metric, &metricClass) != 0)
            return VYRTA_FAIL("Failed to process '%s' metric metadata.\n", metric.m_name.c_str());
        cache.isDefined = true;
    }
    if (isTraced(metric) && m_elements.count() != 1)
        return VYRTA_FAIL(
            "Traced metric data should have information for only one entity and only one descriptor. Metric: "
            "'%s'\n",
            metric.m_name.c_str());

    const ZT2AttributeList* const list = m_builder.build(metric, m_elements);
    if (list == nullptr) return 1;
    const std::uint64_t tsc = metric.getData().timestamp;
    if (writeZT2Record(tsc, metric.m_id, list) != 0)
        return VYRTA_FAIL("Unable to write a '%s:%d' record. TSC: %lu\n", metric.m_name.c_str(),
                          static_cast<int>(metric.m_id), tsc);
    return 0;
}

unsigned long VyrtaWriter::getPreviousTsc(const std::string& key) {
    return m_previousTsc.try_emplace(key, startTsc(m_info.get())).first->second;
}

int VyrtaWriter::checkTscMonotonicity(unsigned long tsc, const std::string& key) {
    const std::uint64_t start = startTsc(m_info.get());
    std::uint64_t& previous = m_previousTsc.try_emplace(key, start).first->second;
    if (tsc < start) {
        VYRTA_FATAL(
            "Current sample TSC is <= collection start TSC. Samples are required to be monotonically "
            "increasing in time. '%s' current TSC: %lu <= collection start TSC: %lu\n",
            key.c_str(), tsc, start);
        return 1;
    }
    if (tsc > previous || (tsc == previous && previous == start)) {
        previous = tsc;
        return 0;
    }
    VYRTA_FATAL(
        "Current sample TSC is <= previous sample's TSC. Samples are required to be monotonically increasing "
        "in time. '%s' current TSC: %lu <= previous TSC: %lu\n",
        key.c_str(), tsc, previous);
    return 1;
}
