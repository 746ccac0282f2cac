#include "host/importers/ztjson_category.h"

#include <charconv>
#include <unordered_map>

namespace host::importers {

namespace {

// A point counts when it has been read as a whole.
void readPoint(JsonPull& json, ZtjsonCategory::Series& series) {
    ZtjsonCategory::Point point;
    const std::size_t first = series.values.size();
    point.firstValue = static_cast<std::uint32_t>(first);
    bool hasStates = false;
    std::string key;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "x") {
            point.begin = json.whole();
        } else if (key == "x1") {
            point.end = json.whole();
        } else if (key == "y" && json.isObject()) {
            hasStates = true;
            json.enterObject();
            while (json.nextKey(key)) {
                std::uint32_t state = 0;
                std::from_chars(key.data(), key.data() + key.size(), state);
                series.values.push_back({state, json.number()});
            }
        } else if (key == "y" || key == "y1") {
            series.values.push_back({0, json.number()});
        } else {
            json.skip();
        }
    }
    if (json.failed() || series.values.size() == first) {
        series.values.resize(first);
        return;
    }
    if (series.points.empty()) series.hasStates = hasStates;
    series.points.push_back(point);
}

void readSeries(JsonPull& json, ZtjsonCategory::Series& series) {
    std::string key;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "friendlyName") {
            series.name = json.text();
        } else if (key == "points") {
            json.enterList();
            while (json.nextItem()) readPoint(json, series);
        } else {
            json.skip();
        }
    }
}

}  // namespace

void ZtjsonCategory::read(JsonPull& json) {
    std::string key;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "metaData") {
            readDescription_i(json);
        } else if (key == "data") {
            json.enterObject();
            while (json.nextKey(key)) {
                Series& read = series.emplace_back();
                read.key = read.name = key;
                readSeries(json, read);
                if (read.points.empty()) series.pop_back();
            }
        } else {
            json.skip();
        }
    }
}

void ZtjsonCategory::readDescription_i(JsonPull& json) {
    std::string key;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "type") {
            type = json.text();
        } else if (key == "states") {
            readStates_i(json);
        } else if (key == "altUnits") {
            json.enterList();
            while (json.nextItem()) readUnit_i(json);
        } else {
            json.skip();
        }
    }
}

void ZtjsonCategory::readStates_i(JsonPull& json) {
    std::unordered_map<std::string, std::size_t> occurrences;
    json.enterList();
    while (json.nextItem()) {
        states.push_back(json.text());
        // Names that differ after a zero byte show as one.
        states.back().append(occurrences[states.back()]++, '\0');
    }
}

void ZtjsonCategory::readUnit_i(JsonPull& json) {
    Unit& unit = units.emplace_back();
    std::string key;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "name")
            unit.name = json.text();
        else if (key == "unit")
            unit.units = json.text();
        else if (key == "conversion")
            unit.conversion = json.number();
        else if (key == "isCalculatedRate")
            unit.isCalculated = json.truth();
        else
            json.skip();
    }
}

}  // namespace host::importers
