// A TRACED_VALUE_TRANSITION metric: each stay of an entity in a state, delivered when it ends.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/emit/context.h"
#include "host/emit/metric_line.h"
#include "host/emit/report.h"

namespace host::emit {

class TransitionMetric {
public:
    // `what` is what changes, as "Governor"; `of` says what an entity is, as "CPU".
    TransitionMetric(const Context& context, Section section, std::string what, std::string of);

    // Both before `define`. A state that is not known beforehand is defined at its first use.
    std::size_t add(Id entity, const std::string& name);
    void state(std::string_view name) { state_i(name); }
    bool isEmpty() const { return m_items.empty(); }
    void define();

    // The entity is in this state from now on; without a name in none that is known. The stay that ends with
    // it is delivered.
    void enter(std::size_t item, std::uint64_t ticks, std::optional<std::string_view> state);

    // Delivers a stay that is over.
    void stay(std::size_t item, std::uint64_t ticks, std::string_view state, std::uint64_t duration);

    // Forgets where the entity is.
    void forget(std::size_t item) { m_items[item].state = NO_STATE; }

    // Ends all stays.
    void finish(std::uint64_t ticks);

    void report(Report& report) const;

private:
    struct State {
        std::string name;
        Id descriptor;
    };
    struct Item {
        Id entity;
        std::string name;
        std::size_t state = NO_STATE;
        std::uint64_t since = 0;             // ticks at which that state was first seen
        std::vector<std::uint64_t> ticks{};  // in each state
        std::uint64_t observed = 0;
    };
    static constexpr std::size_t NO_STATE = ~std::size_t{0};

    std::size_t state_i(std::string_view name);
    void deliver_i(Item& item, std::uint64_t ticks, std::size_t state, std::uint64_t duration);

    const Context& m_context;
    Section m_section;
    std::string m_what;
    std::string m_of;
    const bool m_wanted;
    bool m_isDefined = false;
    MetricLine m_line;
    std::vector<State> m_states;
    std::vector<Item> m_items;
};

}  // namespace host::emit
