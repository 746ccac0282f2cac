#include "bench/json_emission.h"

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "host/model/system_metadata.h"
#include "json/document.h"

namespace bench {

void runJsonEmission(const PlainElements& elements, Cost& cost) {
    std::vector<std::unique_ptr<Series>> series;
    series.push_back(std::make_unique<Series>("Value", std::vector<JsonUnit>(), "CPU 0", "CPU 0",
                                              pwr::Metric::SAMPLED_VALUE, false));
    for (std::size_t i = 0; i < elements.size(); ++i)
        series.front()->addData(elements.start[i], elements.end[i], 0, elements.value[i]);
    const host::model::SystemMetadata metadata;
    const std::string none;
    const double start = cpuNs();
    DocumentSink sink;
    if (!sink.open("document.ztjson")) std::_Exit(1);
    writeDocument(sink, {metadata, 0, none, none, none}, series);
    if (!sink.finish()) std::_Exit(1);
    cost.finiNs = cpuNs() - start;
}

}  // namespace bench
