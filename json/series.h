#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "json/json_unit.h"
#include "json/point_list.h"
#include "json/state_table.h"
#include "pwr/metric.h"

// One line of a chart: what one metric said about one entity, and in some metrics about one state of it.
//
// REQUIRES: no data is added after updateStates.
class Series {
public:
    // `category` is the metric's name, `key` tells the series apart inside its category, `name` is for the
    // user. With `hasStates` a point's value is a set of (state, value) pairs, else a plain number.
    Series(const std::string& category, std::vector<JsonUnit> units, const std::string& key,
           const std::string& name, pwr::Metric::MetricType type, bool hasStates);

    const std::string& getCategory() const { return m_category; }
    const std::string& getKey() const { return m_key; }
    const std::string& getName() const { return m_name; }
    pwr::Metric::MetricType getType() const { return m_type; }
    bool hasStates() const { return m_hasStates; }
    const std::vector<JsonUnit>& getUnits() const { return m_units; }

    // The points, in order of arrival and not copied; read them with PointList::Reader.
    const PointList& getData() const { return m_data; }

    // The names of the states, by state id. After updateStates they may be states of other series.
    const std::vector<const std::string*>& getStates() const;

    // Numbers the state, if it is new.
    void addState(const std::string& state) { m_states.add(state); }

    // The state's id; a new state is numbered.
    std::uint32_t getStateId(const std::string& state) { return m_states.add(state); }

    // Appends a point over an interval in microseconds, with one value of a state.
    void addData(std::uint64_t start, std::uint64_t end, std::uint32_t stateId, double value) {
        m_data.addPoint(start, end, stateId, value);
    }

    // The same with a range: two pairs of the same state, the low end first.
    void addData(std::uint64_t start, std::uint64_t end, std::uint32_t stateId, double value, double value2) {
        m_data.addPoint(start, end, stateId, value);
        m_data.addPair(stateId, value2);
    }

    // The same for states by name.
    void addData(std::uint64_t start, std::uint64_t end, const std::string& state, double value) {
        addData(start, end, getStateId(state), value);
    }
    void addData(std::uint64_t start, std::uint64_t end, const std::string& state, double value,
                 double value2) {
        addData(start, end, getStateId(state), value, value2);
    }

    // Adds a pair to the last point. REQUIRES: there is one.
    void appendData(std::uint32_t stateId, double value) { m_data.addPair(stateId, value); }
    void appendData(const std::string& state, double value) { appendData(getStateId(state), value); }

    // Moves the series to another numbering, which holds all of its states.
    void updateStates(const std::shared_ptr<const StateTable>& newStates);

private:
    std::string m_category;
    std::vector<JsonUnit> m_units;  // none, one or two
    std::string m_name;
    std::string m_key;
    pwr::Metric::MetricType m_type;
    bool m_hasStates;
    PointList m_data;
    StateTable m_states;
    std::shared_ptr<const StateTable> m_newStates;  // after updateStates, in place of m_states
};
