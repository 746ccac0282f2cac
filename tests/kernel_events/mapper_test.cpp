// What only a front end on the running machine can tell the mapper: energy, idle states, the recorder.
#include <gmock/gmock.h>
#include <rapidjson/document.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "host/kernel_events/mapper.h"

namespace {

using namespace host;
using kernel_events::Event;
using kernel_events::Kind;
using testing::ElementsAre;

constexpr std::uint64_t MSEC = 1'000'000;

class Trace {
public:
    void at(std::uint64_t msec, Event event) {
        event.stamp = msec * MSEC;
        event.place = ++m_place;
        m_mapper.take(event);
    }
    void idle(std::uint64_t msec, std::uint32_t cpu, std::int64_t state) {
        at(msec, {.a = state, .cpu = cpu, .subject = cpu, .kind = Kind::CpuIdle});
    }
    // Threads are named after their numbers.
    void run(std::uint64_t msec, std::uint32_t cpu, std::int64_t from, std::int64_t to) {
        at(msec, {.a = from,
                  .b = to,
                  .cpu = cpu,
                  .name = name_i(from),
                  .other = name_i(to),
                  .kind = Kind::SchedSwitch});
    }
    void wake(std::uint64_t msec, std::uint32_t cpu, std::int64_t by, std::int64_t whom) {
        at(msec, {.a = whom,
                  .pid = by,
                  .cpu = cpu,
                  .comm = name_i(by),
                  .name = name_i(whom),
                  .kind = Kind::SchedWaking});
    }
    void energy(std::uint64_t msec, std::int64_t microjoules) {
        at(msec, {.a = microjoules, .kind = Kind::Energy});
    }

    kernel_events::Mapper& mapper() { return m_mapper; }

    // Ends the trace; the rows of a table, the cells of these columns with blanks between.
    std::vector<std::string> rows(std::uint64_t stop, const std::string& title,
                                  const std::vector<std::string>& columns) {
        if (m_lines.empty()) {
            m_mapper.finish(stop * MSEC);
            emit::Report report(m_output, m_definitions);
            emit::Id container = 100;
            m_mapper.report(report, container, 0);
        }
        return rowsOf_i(title, columns);
    }

private:
    kernel_events::NameId name_i(std::int64_t pid) { return m_names.get("t" + std::to_string(pid)); }

    std::vector<std::string> rowsOf_i(const std::string& title,
                                      const std::vector<std::string>& columns) const {
        std::map<unsigned, std::string> names;
        std::vector<std::size_t> places;
        std::vector<std::string> texts;
        bool isInside = false;
        for (const std::string& line : m_lines) {
            rapidjson::Document json;
            json.Parse(line.c_str());
            if (json.HasMember("def")) {
                if (json.HasMember("name")) names[json["id"].GetUint()] = json["name"].GetString();
                if (std::string("table") != json["def"].GetString()) continue;
                isInside = title == json["title"].GetString();
                if (!isInside) continue;
                for (const std::string& column : columns)
                    for (rapidjson::SizeType i = 0; i < json["handles"].Size(); ++i)
                        if (names[json["handles"][i].GetUint()] == column) places.push_back(i);
            } else if (isInside && std::string("row") == json["msg"].GetString()) {
                texts.emplace_back();
                for (const std::size_t place : places)
                    texts.back() +=
                        (texts.back().empty() ? "" : " ") +
                        std::string(json["cells"][static_cast<rapidjson::SizeType>(place)].GetString());
            }
        }
        return texts;
    }

    std::vector<std::string> m_lines;
    emit::Output m_output{[this](std::string_view line) {
        m_lines.emplace_back(line);
        return true;
    }};
    emit::Output m_nowhere{[](std::string_view) { return true; }};
    emit::Definitions m_definitions{m_output};
    emit::Definitions m_overTime{m_nowhere};
    emit::Context m_context{m_overTime, m_nowhere, 1000.0};
    kernel_events::NamePool m_names;
    kernel_events::Timeline m_timeline{m_context, m_names};
    kernel_events::Mapper m_mapper{m_timeline, m_names, {{"POLL", {}}, {"C1", 20}, {"C6", 600}}};
    std::uint64_t m_place = 0;
};

const std::vector<std::string> ENERGY{"PID", "Process", "Energy (mJ)"};
constexpr const char* PROCESSES = "Processes Summary: Counts";

TEST(Mapper, sharesEnergyByTheTimeOfEachInterval) {
    Trace trace;
    trace.energy(0, 12345);  // what was before
    trace.run(0, 0, 0, 1);
    trace.run(0, 1, 9, 0);
    trace.run(5, 1, 0, 2);
    trace.energy(10, 8000);  // of 20 ms: 1 has 10, 2 has 5, idle 5
    trace.run(12, 0, 1, 0);
    trace.run(14, 1, 3, 2);  // not 2 has run since 5: nobody has the 5 before and the 4 after
    trace.energy(20, 2000);  // of 20 ms: 1 has 2, idle 8, 2 has 6
    trace.energy(40, 4000);  // of 40 ms: idle and 2 have 20
    trace.run(45, 1, 2, 0);  // belongs to an interval that never ends
    EXPECT_THAT(trace.rows(50, PROCESSES, ENERGY),
                ElementsAre("2 t2 2.600", "1 t1 4.200", "9 t9 0.000", "3 t3 0.000", "- idle 4.800",
                            "- not attributed 2.400"));
}

TEST(Mapper, sharesAllEnergyWhateverHappens) {
    std::mt19937 random(7);  // NOLINT: the same numbers every time
    Trace trace;
    trace.energy(0, 0);
    double total = 0;
    std::int64_t running[4] = {};
    for (std::uint64_t msec = 0; msec < 5000; ++msec) {
        const auto cpu = static_cast<std::uint32_t>(random() % 4);
        const std::int64_t next = random() % 7;
        trace.run(msec, cpu, random() % 10 != 0 ? running[cpu] : 77, next);
        running[cpu] = next;
        if (random() % 50 == 0) trace.at(msec, {.cpu = cpu, .kind = Kind::Loss});
        if (random() % 5 != 0) continue;
        const auto energy = static_cast<std::int64_t>(random() % 100'000);
        total += static_cast<double>(energy);
        trace.energy(msec, energy);
    }
    double sum = 0;
    for (const std::string& cell : trace.rows(5000, PROCESSES, {"Energy (mJ)"})) sum += std::stod(cell);
    EXPECT_NEAR(sum * 1000.0, total, total * 0.001);
}

TEST(Mapper, hasNoColumnWithoutMeasuredEnergy) {
    Trace trace;
    trace.run(0, 0, 0, 1);
    trace.energy(0, 0);  // an interval that never ends
    EXPECT_THAT(trace.rows(50, PROCESSES, ENERGY), ElementsAre("1 t1", "- idle", "- not attributed"));
}

TEST(Mapper, knowsStatesOfTheMachine) {
    Trace trace;
    trace.mapper().setIdleStates(1, {{"POLL", {}}, {"C1", 20}, {"C6", 3000}});
    for (const std::uint32_t cpu : {0U, 1U})
        for (std::uint64_t msec = 0; msec < 20; msec += 4) {
            trace.idle(msec, cpu, 2);
            trace.idle(msec + 2, cpu, kernel_events::IDLE_EXIT);
        }
    trace.idle(20, 0, 0);
    trace.idle(20, 0, 3);
    trace.idle(21, 0, 0);
    EXPECT_THAT(trace.rows(22, "Idle Quality Summary: Counts",
                           {"CPU", "State", "Entries", "Target (usec)", "Too Short", "Too Short (%)"}),
                ElementsAre("CPU0 POLL 1 - - -", "CPU0 C6 5 600 0 0.00", "CPU0 state3 1 - - -",
                            "CPU1 C6 5 3000 5 100.00"));
}

TEST(Mapper, namesTheRecorder) {
    Trace trace;
    trace.mapper().setRecorder(5);
    trace.run(0, 1, 0, 5);
    trace.idle(0, 0, 1);
    trace.wake(1, 1, 5, 6);
    trace.idle(2, 0, kernel_events::IDLE_EXIT);
    trace.run(2, 0, 0, 6);
    const char* const own = "pwrhost (this recording)";
    EXPECT_THAT(trace.rows(4, "Wakeup Causes Summary: Counts", {"Kind", "Cause", "Process", "PID"}),
                ElementsAre(std::string("task ") + own + " " + own + " 5"));
    EXPECT_THAT(trace.rows(4, PROCESSES, {"PID", "Process", "Wakeups"}),
                ElementsAre(std::string("5 ") + own + " 1", "6 t6 0", "- idle 0", "- not attributed 0"));
}

}  // namespace
