#include "json/category.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <memory>
#include <string>

#include "json/state_sort.h"
#include "plugins/value_text.h"

namespace {

// How the values of series without states are turned into the document's units.
struct Rate {
    bool isCalculated = false;
    double conversion = 1.0;
};

// Puts the states of all series into one order and numbers the series by it. Series without states keep
// theirs: their points show no state.
std::shared_ptr<const StateTable> orderStates(const std::vector<Series*>& series) {
    StateTable seen;
    std::vector<std::string> names;
    for (const Series* one : series) {
        for (const std::string* name : one->getStates())
            if (seen.add(*name) == names.size()) names.push_back(*name);
    }
    sortStates(names);
    auto sorted = std::make_shared<const StateTable>(names);

    const auto isSame = [](const std::string* a, const std::string* b) { return *a == *b; };
    for (Series* one : series) {
        const auto& own = one->getStates();
        if (!one->hasStates()) continue;
        if (!std::equal(own.begin(), own.end(), sorted->getNames().begin(), isSame))
            one->updateStates(sorted);
    }
    return sorted;
}

void writeStates(JsonTextWriter& writer, const StateTable& states) {
    writeKey(writer, "states");
    writer.StartArray();
    for (const std::string* name : states.getNames()) writeString(writer, *name);
    writer.EndArray();
}

void writeUnits(JsonTextWriter& writer, const std::vector<JsonUnit>& units) {
    writeKey(writer, "altUnits");
    writer.StartArray();
    for (const JsonUnit& unit : units) {
        writer.StartObject();
        writeMember(writer, "name", unit.getName());
        writeMember(writer, "unit", unit.getUnits());
        writeKey(writer, "conversion");
        writer.Double(unit.getRateConversion());
        writeKey(writer, "isCalculatedRate");
        writer.Bool(unit.isCalculatedRate());
        writer.EndObject();
    }
    writer.EndArray();
}

// Writes "metaData" and returns what the values need.
Rate writeMetaData(JsonTextWriter& writer, const Series& first, const StateTable* states) {
    const std::vector<JsonUnit>& units = first.getUnits();
    Rate rate;
    writeKey(writer, "metaData");
    writer.StartObject();
    writeMember(writer, "type", getTypeString(first.getType()));
    if (first.hasStates()) writeStates(writer, *states);
    writeUnits(writer, units);
    if (!units.empty()) {
        rate.isCalculated = units.back().isCalculatedRate();
        const bool showsRate = rate.isCalculated && !first.hasStates();
        if (showsRate) rate.conversion = units.back().getRateConversion();
        writeMember(writer, "units", (showsRate ? units.back() : units.front()).getUnits());
    }
    writer.EndObject();
    return rate;
}

// Writes "y" as an object with a member per state; a range has the same member twice.
void writeStateValues(JsonTextWriter& writer, const Value& value) {
    writeKey(writer, "y");
    writer.StartObject();
    for (const auto& [state, amount] : value.getValues()) {
        char key[12];
        const auto end = std::to_chars(key, key + sizeof key, state).ptr;
        writer.Key(key, static_cast<rapidjson::SizeType>(end - key));
        writer.Double(amount);
    }
    writer.EndObject();
}

double convert(double value, const Rate& rate, std::uint64_t duration) {
    if (!rate.isCalculated) return value;
    if (duration == 0) return 0.0;
    return value * rate.conversion * 1000000.0 / static_cast<double>(duration);
}

// Writes "y", and "y1" for a range.
void writePlainValues(JsonTextWriter& writer, const Point& point, const Rate& rate) {
    const std::uint64_t duration = point.getEndTimestamp() - point.getStartTimestamp();
    const auto& values = point.getValue().getValues();
    writeKey(writer, "y");
    writer.Double(convert(values[0].second, rate, duration));
    if (values.size() < 2) return;
    writeKey(writer, "y1");
    writer.Double(convert(values[1].second, rate, duration));
}

void writePoints(DocumentSink& sink, const Series& series, const Rate& rate) {
    JsonTextWriter& writer = sink.writer();
    writeKey(writer, "points");
    writer.StartArray();
    Point point;
    for (PointList::Reader reader(series.getData()); reader.next(point);) {
        writer.StartObject();
        writeKey(writer, "x");
        writer.Uint64(point.getStartTimestamp());
        writeKey(writer, "x1");
        writer.Uint64(point.getEndTimestamp());
        if (series.hasStates())
            writeStateValues(writer, point.getValue());
        else
            writePlainValues(writer, point, rate);
        writer.EndObject();
        sink.drainIfFull();
    }
    writer.EndArray();
}

}  // namespace

void writeCategory(DocumentSink& sink, const std::vector<Series*>& series) {
    const bool hasStates =
        std::any_of(series.begin(), series.end(), [](const Series* one) { return one->hasStates(); });
    const std::shared_ptr<const StateTable> states = hasStates ? orderStates(series) : nullptr;

    JsonTextWriter& writer = sink.writer();
    writeKey(writer, series.front()->getCategory());
    writer.StartObject();
    const Rate rate = writeMetaData(writer, *series.front(), states.get());
    writeKey(writer, "data");
    writer.StartObject();
    for (const Series* one : series) {
        if (sink.hasFailed()) break;
        writeKey(writer, one->getKey());
        writer.StartObject();
        writeMember(writer, "name", one->getKey());
        writeMember(writer, "friendlyName", one->getName());
        writePoints(sink, *one, rate);
        writer.EndObject();
    }
    writer.EndObject();
    writer.EndObject();
}
