#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/importers/handle_lines.h"
#include "host/importers/importer.h"
#include "host/importers/json_pull.h"
#include "host/importers/sample_line.h"
#include "host/importers/system_line.h"
#include "host/importers/tick_clock.h"
#include "host/importers/ztjson_category.h"

namespace host::importers {

// Makes lines of the JSON document of a whole run, which docs/formats/ztjson.md describes. The samples of a
// category stand series by series there; memory holds one category, to put them into the order of time.
class ZtjsonDocument {
public:
    explicit ZtjsonDocument(const ImportTarget& target)
        : m_target(target), m_line(target.lines), m_handles(target.lines) {}

    // Reads the document, of whose object the first key has been read. What is wrong shows in `json`; the
    // points before it are delivered.
    void read(JsonPull& json, std::string key);

private:
    using Id = std::uint32_t;

    using Category = ZtjsonCategory;
    using Series = ZtjsonCategory::Series;
    using Point = ZtjsonCategory::Point;
    using Value = ZtjsonCategory::Value;
    struct Metric {
        std::uint8_t type = 0;
        bool isInstant = false;
        bool isRate = false;  // values of series without states are per second
        double conversion = 1;
        std::vector<Id> states;  // descriptors, by number
    };

    void readSystem_i(JsonPull& json);
    void readMember_i(JsonPull& json, const std::string& key);
    void writeSystem_i(const Category* first);
    bool suits_i(const TickClock& clock, const Category& category) const;
    void category_i(Category& category);
    void define_i(Category& category);
    static void nameStates_i(Category& category);
    Id defineMetric_i(const Category& category, std::uint8_t type);
    Id defineQuantity_i(const Category& category);
    Id descriptor_i(const std::string& name, bool hasState);
    Id entity_i(const std::string& name, std::size_t occurrence);
    void deliver_i(Category& category);
    void point_i(const Category& category, Series& series);
    void value_i(const Category& category, const Series& series, const Point& point, const Value& value,
                 bool isFirst);
    void numbers_i(const Series& series, std::size_t first, std::size_t last, std::uint64_t duration);
    void residency_i(double microseconds);
    double stored_i(double shown, const Metric& metric, std::uint64_t duration) const;
    std::uint64_t ticks_i(std::uint64_t microseconds);

    ImportTarget m_target;
    SampleLine m_line;
    HandleLines m_handles;  // entities have ids beyond those that it gives
    SystemDescription m_system;
    TickClock m_clock;
    bool m_hasSystem = false;                                     // it has been written
    std::unordered_map<std::string, std::size_t> m_categories;    // how often a name has occurred
    std::unordered_map<std::string, std::vector<Id>> m_entities;  // by name
    std::map<std::pair<std::string, bool>, Id> m_descriptors;     // by name and whether there is an attribute
    std::vector<Metric> m_metrics;                                // by id - 1
    Id m_entityCount = 0;
    std::uint64_t m_inexact = 0;  // times that do not come out again
};

}  // namespace host::importers
