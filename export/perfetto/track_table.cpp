#include "export/perfetto/track_table.h"

#include "export/clean_text.h"
#include "export/value_reading.h"

namespace exporting {

namespace {

std::string cleaned(std::string_view text) {
    std::string scratch;
    return std::string(cleanText(text, scratch));
}

}  // namespace

Track& TrackTable::add_i(Track::Kind kind, Track* parent, const std::string& name) {
    m_tracks.emplace_back(m_tracks.size() + 1, kind, parent, cleaned(name));
    return m_tracks.back();
}

void TrackTable::begin(const pwr::Metric& metric) {
    m_metric = &metric;
    m_places = m_known.placesOf(metric.m_id, metric.getData().elements.size());
}

ItemTracks& TrackTable::at(std::size_t place, const pwr::DataElement& element) {
    Places::Place& known = m_places[place];
    if (!known.isOf(element.getEntity(), element.getDescriptor()))
        known = {element.getEntity(), element.getDescriptor(), &item_i(element)};
    return *known.target;
}

Track& TrackTable::metric_i() {
    Track*& metric = m_metrics[m_metric->m_id];
    if (metric != nullptr) return *metric;
    Track* parent = nullptr;
    if (!m_metric->m_groupName.empty()) {
        Track*& group = m_groups[m_metric->m_groupName];
        if (group == nullptr) group = &add_i(Track::Kind::Plain, nullptr, m_metric->m_groupName);
        parent = group;
    }
    metric = &add_i(Track::Kind::Plain, parent, m_metric->m_name);
    return *metric;
}

ItemTracks& TrackTable::item_i(const pwr::DataElement& element) {
    const pwr::EntityHandle* const entity = element.getEntity();
    const pwr::DataDescriptor* const descriptor = element.getDescriptor();
    const auto [at, isNew] = m_items.try_emplace(ItemKey(m_metric->m_id, entity, descriptor));
    if (!isNew) return at->second;
    Track*& track = m_entities[{m_metric->m_id, entity}];
    if (track == nullptr) track = &add_i(Track::Kind::Plain, &metric_i(), entity->getQualifiedName());
    at->second.entity = track;
    at->second.name = descriptor != nullptr ? descriptor->getName() : m_metric->m_name;
    return at->second;
}

Track& TrackTable::value(ItemTracks& item) {
    if (item.value == nullptr) {
        item.value = &add_i(Track::Kind::Counter, item.entity, item.name);
        const bool isShare = isResidency(*m_metric);
        item.value->unit = isShare ? "%" : cleaned(unitsOf(*m_metric));
        if (isShare) item.value->axis = "share";
    }
    return *item.value;
}

Track& TrackTable::high(ItemTracks& item) {
    if (item.high == nullptr) {
        const Track& low = value(item);
        item.high = &add_i(Track::Kind::Counter, item.entity, item.name + " (high)");
        item.high->unit = low.unit;
        item.high->axis = low.axis;
    }
    return *item.high;
}

Track& TrackTable::texts(ItemTracks& item) {
    if (item.texts == nullptr) item.texts = &add_i(Track::Kind::Plain, item.entity, item.name);
    return *item.texts;
}

Track& TrackTable::process(const pwr::Process& process) {
    Track*& track = m_owners[&process];
    if (track == nullptr) {
        track = &add_i(Track::Kind::Process, nullptr, process.getName());
        track->pid = process.getPid();
        track->path = cleaned(process.getPath());
    }
    return *track;
}

Track& TrackTable::thread(const pwr::Thread& thread) {
    Track*& track = m_owners[&thread];
    if (track == nullptr) {
        track = &add_i(Track::Kind::Thread, nullptr, thread.getName());
        track->pid = thread.getPid();
        track->tid = thread.getTid();
    }
    return *track;
}

}  // namespace exporting
