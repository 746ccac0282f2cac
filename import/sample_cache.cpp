#include "import/sample_cache.h"

namespace vyrta {

namespace {

// Debug metrics that the visualiser has no view for.
bool isDebugMetric(const std::string& name) {
    for (const char* part :
         {"CPU PkgC Dbg", "C-State Debug", "TypeC Subsystem", "S0ix Substate Requirements"})
        if (name.find(part) != std::string::npos) return true;
    return false;
}

}  // namespace

MetricCache& MetricCaches::find(const pwr::Metric& metric) {
    MetricCache& cache = m_caches[&metric];
    const bool isCurrent = cache.isFilled && cache.id == metric.m_id && cache.type == metric.m_metricType &&
                           cache.name == metric.m_name;
    if (isCurrent) return cache;
    cache.entities.clear();
    cache.states.clear();
    cache.places.clear();
    cache.isFilled = false;  // until all of it is known
    cache.id = metric.m_id;
    cache.name = metric.m_name;
    cache.storedName = &m_names[metric.m_id];
    cache.type = metric.m_metricType;
    cache.isRefused = isDebugMetric(metric.m_name);
    cache.isDefined = false;
    cache.isFilled = true;
    return cache;
}

}  // namespace vyrta
