#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/importers/json_pull.h"

namespace host::importers {

// A category of the JSON document of a whole run: what is measured, series by series.
struct ZtjsonCategory {
    struct Value {
        std::uint32_t state = 0;  // its number, in a series with states
        double number = 0;
    };
    struct Point {
        std::uint64_t begin = 0;  // microseconds after the start
        std::uint64_t end = 0;
        std::uint32_t firstValue = 0;  // of those of its series
    };
    struct Series {
        std::string key, name;
        bool hasStates = false;
        std::vector<Point> points;
        std::vector<Value> values;

        // In the making of messages.
        std::uint32_t metric = 0;
        std::uint32_t entity = 0;
        std::uint32_t descriptor = 0;  // of numbers
        std::size_t next = 0;

        bool isLeft() const { return next < points.size(); }
        std::size_t valueEnd(std::size_t point) const {
            return point + 1 < points.size() ? points[point + 1].firstValue : values.size();
        }
    };
    struct Unit {
        std::string name, units;
        double conversion = 1;
        bool isCalculated = false;
    };

    std::string name, type;
    std::vector<std::string> states;
    std::vector<Unit> units;
    std::vector<Series> series;  // none without points

    // Reads the value of the category's member. What is wrong shows in `json`; the points before it are
    // there.
    void read(JsonPull& json);

private:
    void readDescription_i(JsonPull& json);
    void readStates_i(JsonPull& json);
    void readUnit_i(JsonPull& json);
};

}  // namespace host::importers
