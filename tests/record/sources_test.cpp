// Every source on a machine of files: what it delivers while things change, fail and come back.
#include <gmock/gmock.h>

#include "tests/record/simulation.h"

namespace {

using simulation::Recording;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string cpuLine(int number, int user, int idle, int ioWait) {
    return "cpu" + std::to_string(number) + " " + std::to_string(user) + " 0 0 " + std::to_string(idle) +
           " " + std::to_string(ioWait) + " 0 0 0 0 0\n";
}

// The elements that say something: of a value above 0.
std::vector<std::string> nonZero(std::vector<std::string> elements) {
    std::erase_if(elements, [](const std::string& text) { return text.ends_with(" 0"); });
    return elements;
}

TEST(CpuTime, countsStatesOfCpusThatComeAndGo) {
    Recording run;
    run.m_options.seconds = 0.5;
    run.m_root.put("proc/stat", "cpu 9 9 9 9\n" + cpuLine(0, 10, 100, 5) + cpuLine(1, 0, 50, 0));
    run.at(1, [&] { run.m_root.put("proc/stat", cpuLine(0, 14, 106, 3) + cpuLine(1, 1, 59, 0)); });
    run.at(2, [&] { run.m_root.put("proc/stat", cpuLine(0, 24, 106, 3)); });
    run.at(3, [&] { run.m_root.put("proc/stat", ""); });
    run.at(4, [&] {
        run.m_root.put("proc/stat", cpuLine(0, 34, 116, 3) + cpuLine(1, 9, 90, 0) + cpuLine(2, 7, 7, 7));
    });
    run.at(5, [&] {
        run.m_root.put("proc/stat", cpuLine(0, 34, 126, 3) + cpuLine(1, 9, 95, 0) + cpuLine(2, 9, 7, 7));
    });
    EXPECT_EQ(run.record(), host::record::RecordResult::Complete);
    // The waiting time of CPU0 falls, CPU1 is away for a while, CPU2 is new, and once the file can't be read.
    EXPECT_THAT(nonZero(run.elements("CPU Time States")),
                ElementsAre("100 CPU0: User 100 40000000", "100 CPU0: Idle 100 60000000",
                            "100 CPU1: User 100 10000000", "100 CPU1: Idle 100 90000000",
                            "200 CPU0: User 100 100000000", "400 CPU0: User 100 100000000",
                            "400 CPU0: Idle 100 100000000", "500 CPU0: Idle 100 100000000",
                            "500 CPU1: Idle 100 50000000", "500 CPU2: User 100 20000000"));
}

TEST(KernelActivity, deliversDeltasAndSurvivesResets) {
    Recording run;
    run.m_root.put("proc/stat", "intr 100 5 6\nctxt 18446744073709551615\n");
    run.at(1, [&] { run.m_root.put("proc/stat", "intr 150 5 6\nctxt 5\n"); });
    run.at(2, [&] { run.m_root.put("proc/stat", "intr 150 5 6\nctxt 12\n"); });
    run.at(3, [&] { run.m_root.put("proc/stat", "ctxt 20\nintr none\n"); });
    run.record();
    EXPECT_THAT(run.elements("Interrupts"),
                ElementsAre("100 System: Interrupts 100 50", "200 System: Interrupts 100 0"));
    EXPECT_THAT(run.elements("Context Switches"),
                ElementsAre("200 System: Context Switches 100 7", "300 System: Context Switches 100 8"));
    EXPECT_THAT(run.elements("Forks"), IsEmpty());
    EXPECT_THAT(run.rows("Interrupts Summary: Average Rate and Total"), ElementsAre("System, 250.00, 50"));
}

struct EnergyCase {
    const char* title;
    const char* range;
    std::vector<std::string> readings;  // before the start, then before each sample
    std::vector<std::string> deltas;    // "time duration delta"
    const char* row;
    bool isReported = false;  // that it was set back
};

TEST(Energy, followsCountersThatGoRoundFallAndVanish) {
    const EnergyCase cases[] = {
        {"steady",
         "1000",
         {"10", "20", "20", "50"},
         {"100 100 10", "200 100 0", "300 100 30"},
         "cell, 0.00, 40"},
        {"goes round",
         "1000",
         {"990", "5", "30", "30"},
         {"100 100 15", "200 100 25", "300 100 0"},
         "cell, 0.00, 40"},
        {"goes round to 0",
         "1000",
         {"900", "0", "1", "2"},
         {"100 100 100", "200 100 1", "300 100 1"},
         "cell, 0.00, 102"},
        // 10 kW are 1 J in these 100 msec.
        {"goes round at the most that is possible",
         "100000000000",
         {"99500000000", "499999999", "500000000", "500000000"},
         {"100 100 999999999", "200 100 1", "300 100 0"},
         "cell, 3333.33, 1000000000"},
        {"set back to 0",
         "100000000000",
         {"50000000000", "1000", "1500", "1500"},
         {"100 100 1000", "200 100 500", "300 100 0"},
         "cell, 0.01, 1500",
         true},
        {"set back to a lot",
         "100000000000",
         {"50000000000", "40000000000", "40000000150", "40000000150"},
         {"200 100 150", "300 100 0"},
         "cell, 0.00, 150",
         true},
        {"falls without a range",
         "",
         {"400", "100", "150", "150"},
         {"100 100 100", "200 100 50", "300 100 0"},
         "cell, 0.00, 150",
         true},
        {"above its range",
         "300",
         {"400", "100", "150", "151"},
         {"100 100 100", "200 100 50", "300 100 1"},
         "cell, 0.00, 151",
         true},
        {"fails once", "1000", {"10", "20", "", "50"}, {"100 100 10", "300 200 30"}, "cell, 0.00, 40"},
        {"20 W",
         "1000000000",
         {"0", "2000000", "4000000", "6000000"},
         {"100 100 2000000", "200 100 2000000", "300 100 2000000"},
         "cell, 20.00, 6000000"},
    };
    for (const EnergyCase& test : cases) {
        SCOPED_TRACE(test.title);
        Recording run;
        run.m_root.put("sys/class/powercap/zone:0/name", "cell\n");
        run.m_root.put("sys/class/powercap/zone:0/max_energy_range_uj", test.range);
        run.m_root.put("sys/class/powercap/zone:0/energy_uj", test.readings[0]);
        for (int i = 1; i <= 3; ++i)
            run.at(i, [&, i] {
                run.m_root.put("sys/class/powercap/zone:0/energy_uj",
                               test.readings[static_cast<std::size_t>(i)]);
            });
        run.record();
        std::vector<std::string> deltas = run.elements("Power Domain Energy");
        for (std::string& text : deltas) text.replace(text.find(" cell: cell energy"), 18, "");
        EXPECT_EQ(deltas, test.deltas);
        EXPECT_THAT(run.rows("Power Domain Energy Summary: Average Rate and Total"), ElementsAre(test.row));
        EXPECT_EQ(run.m_reported.size(), test.isReported ? 1U : 0U);
    }
}

TEST(Temperature, tellsAFailedSensorOnceAndDropsIt) {
    Recording run;
    run.m_root.put("sys/class/thermal/thermal_zone10/type", "skin");
    run.m_root.put("sys/class/thermal/thermal_zone10/temp", "30100\n");
    run.m_root.put("sys/class/thermal/thermal_zone9/type", "skin");
    run.m_root.put("sys/class/thermal/thermal_zone9/temp", "-4000\n");
    run.m_root.put("sys/class/thermal/thermal_zone2/temp", "");  // can't be read from the beginning
    run.m_options.seconds = 0.9;
    const auto put = [&](const char* text) { run.m_root.put("sys/class/thermal/thermal_zone9/temp", text); };
    run.at(2, [&] { put(""); });        // four times is not for good
    run.at(6, [&] { put("6000\n"); });  // and at this one it fails in a row of its own
    run.at(7, [&] { put(""); });
    run.record();
    EXPECT_EQ(run.elements("Thermal Zone Temperature").size(), 9U + 2U);
    EXPECT_THAT(run.m_reported, IsEmpty());

    run.m_options.seconds = 0.9;
    run.m_clock.m_step = 0;
    run.m_lines.clear();
    run.m_clock.m_changes.clear();
    put("-4000\n");
    run.at(2, [&] { put(""); });
    run.at(7, [&] { put("5000\n"); });  // too late
    run.record();
    EXPECT_EQ(run.elements("Thermal Zone Temperature").size(), 9U + 1U);
    EXPECT_THAT(run.m_reported, ElementsAre(HasSubstr("thermal_zone9/temp can't be read any more")));
    EXPECT_THAT(run.rows("Thermal Zone Temperature Summary: Average and Range"),
                ElementsAre("skin, 1, -4.0, -4.0, -4.0", "skin (thermal_zone10), 9, 30.1, 30.1, 30.1"));
}

TEST(IdleStates, takeUpACpuAgainThatWasOffline) {
    const std::string folder = "sys/devices/system/cpu/cpu1/";
    Recording run;
    run.m_options.seconds = 0.5;
    const auto set = [&](const std::string& time, const std::string& usage) {
        run.m_root.put(folder + "cpuidle/state0/time", time);
        run.m_root.put(folder + "cpuidle/state0/usage", usage);
        run.m_root.put(folder + "cpufreq/scaling_cur_freq", time.empty() ? "" : "1500000");
    };
    run.m_root.put("sys/devices/system/cpu/online", "0-1\n");
    run.m_root.put(folder + "cpuidle/state0/name", "C3\n");
    run.m_root.put("proc/stat", cpuLine(0, 0, 0, 0) + cpuLine(1, 0, 0, 0));
    set("1000", "10");
    run.at(1, [&] { set("51000", "12"); });
    run.at(2, [&] { set("", ""); });  // the list of CPUs is a little behind
    run.at(3, [&] { run.m_root.put("proc/stat", cpuLine(0, 0, 0, 0)); });
    run.at(4, [&] {
        run.m_root.put("proc/stat", cpuLine(0, 0, 0, 0) + cpuLine(1, 0, 0, 0));
        set("60000", "15");
    });
    run.at(5, [&] { set("160000", "18"); });
    run.record();
    EXPECT_THAT(run.elements("OS Core C-States"),
                ElementsAre("100 CPU1: C3 100 50000000", "500 CPU1: C3 100 100000000"));
    EXPECT_THAT(run.elements("OS Core C-State Entries"),
                ElementsAre("100 CPU1: CPU1 C3 100 2", "400 CPU1: CPU1 C3 300 3", "500 CPU1: CPU1 C3 100 3"));
    EXPECT_THAT(run.elements("CPU Frequency"),
                ElementsAre("100 CPU1: Frequency 100 1500.000", "400 CPU1: Frequency 100 1500.000",
                            "500 CPU1: Frequency 100 1500.000"));
    EXPECT_THAT(run.m_reported,
                ElementsAre("1 CPUs are online now, 2 before", "2 CPUs are online now, 1 before"));
}

TEST(Governor, deliversEachStayWhenItEnds) {
    Recording run;
    const std::string folder = "sys/devices/system/cpu/";
    run.m_root.put(folder + "online", "0-1");
    run.m_root.put(folder + "cpufreq/policy0/scaling_governor", "powersave\n");
    for (const char* cpu : {"cpu0", "cpu1"}) {
        run.m_root.put(folder + cpu + "/uevent", "");
        std::filesystem::create_directory_symlink("../cpufreq/policy0",
                                                  run.m_root.path() / folder / cpu / "cpufreq");
    }
    run.at(2, [&] { run.m_root.put(folder + "cpufreq/policy0/scaling_governor", "performance\n"); });
    run.m_clock.m_lateness = 1000;  // so that the collection ends after its last sample
    run.record();
    EXPECT_THAT(
        run.elements("CPU Frequency Governor"),
        ElementsAre("200 CPU0: powersave 200 powersave", "200 CPU1: powersave 200 powersave",
                    "300 CPU0: performance 100 performance", "300 CPU1: performance 100 performance"));
    EXPECT_THAT(run.rows("CPU Frequency Governor Summary: Residency (Percentage and Time)"),
                ElementsAre("CPU0, 66.67, 33.33, 200.00, 100.00", "CPU1, 66.67, 33.33, 200.00, 100.00",
                            "All, 66.67, 33.33, 400.00, 200.00"));
}

TEST(MemoryAndLoad, skipSamplesThatDoNotParse) {
    Recording run;
    run.m_root.put("proc/meminfo", "MemTotal: 9 kB\nMemAvailable:   5 kB\n");
    run.m_root.put("proc/loadavg", "0.50 1.25 2.00 1/50 100\n");
    run.at(2, [&] {
        run.m_root.put("proc/meminfo", "MemTotal: 9 kB\n");
        run.m_root.put("proc/loadavg", "0.50 none\n");
    });
    run.at(3, [&] { run.m_root.put("proc/meminfo", "MemAvailable:   7 kB\n"); });
    run.record();
    EXPECT_THAT(run.elements("Available Memory"),
                ElementsAre("100 System: Available 100 5", "300 System: Available 100 7"));
    EXPECT_THAT(
        run.elements("Load Average"),
        ElementsAre("100 1 min: Load 100 0.500", "100 5 min: Load 100 1.250", "100 15 min: Load 100 2.000"));
}

struct WakeupReading {
    const char* count;
    const char* active;
    const char* total;
};
struct WakeupCase {
    const char* title;
    std::vector<WakeupReading> readings;  // before the start, then before each sample
    std::vector<std::string> stays;       // "time duration"
};

TEST(WakeupSources, deliverActivationsThatHaveEnded) {
    const WakeupCase cases[] = {
        {"none", {{"3", "0", "30"}, {"3", "0", "30"}, {"3", "0", "30"}, {"3", "0", "30"}}, {}},
        {"one", {{"3", "0", "30"}, {"4", "0", "42"}, {"4", "0", "42"}, {"4", "0", "42"}}, {"100 12"}},
        {"over two samples",
         {{"0", "0", "0"}, {"1", "50", "50"}, {"1", "150", "150"}, {"1", "0", "170"}},
         {"300 170"}},
        {"begun before the collection",
         {{"1", "500", "500"}, {"1", "600", "600"}, {"1", "0", "650"}, {"1", "0", "650"}},
         {"200 650"}},
        {"the next one goes on",
         {{"1", "0", "5"}, {"3", "20", "45"}, {"3", "0", "65"}, {"3", "0", "65"}},
         {"100 20", "200 40"}},
        {"two ended",
         {{"1", "0", "5"}, {"3", "0", "25"}, {"3", "0", "25"}, {"3", "0", "25"}},
         {"50 10", "100 10"}},
        {"just begun", {{"1", "0", "5"}, {"2", "0", "5"}, {"2", "90", "95"}, {"2", "0", "105"}}, {"300 100"}},
        {"too short to be told",
         {{"1", "0", "5"}, {"2", "0", "5"}, {"2", "0", "5"}, {"2", "0", "5"}},
         {"200 0"}},
        {"set back", {{"9", "0", "90"}, {"1", "0", "10"}, {"2", "0", "15"}, {"2", "0", "15"}}, {"200 5"}},
        {"fails once", {{"1", "0", "5"}, {"", "", ""}, {"2", "0", "9"}, {"2", "0", "9"}}, {"200 4"}},
    };
    for (const WakeupCase& test : cases) {
        SCOPED_TRACE(test.title);
        Recording run;
        const auto set = [&](const WakeupReading& reading) {
            run.m_root.put("sys/class/wakeup/wakeup7/active_count", reading.count);
            run.m_root.put("sys/class/wakeup/wakeup7/active_time_ms", reading.active);
            run.m_root.put("sys/class/wakeup/wakeup7/total_time_ms", reading.total);
        };
        run.m_root.put("sys/class/wakeup/wakeup7/name", std::string(100, 'n') + "\n");
        set(test.readings[0]);
        for (int i = 1; i <= 3; ++i) run.at(i, [&, i] { set(test.readings[static_cast<std::size_t>(i)]); });
        run.record();
        std::vector<std::string> stays = run.elements("Kernel Wakeup Sources");
        for (std::string& text : stays) {
            const std::size_t name = text.find(" " + std::string(59, 'n') + ": Active");
            ASSERT_NE(name, std::string::npos) << text;
            text.replace(name, 68, "");
            text.resize(text.size() - std::string(" Active").size());
        }
        EXPECT_EQ(stays, test.stays);
    }
}

std::string stat(int pid, const std::string& name, int parent, int start) {
    return std::to_string(pid) + " (" + name + ") R " + std::to_string(parent) +
           " -1 1 0 -1 4194560 1 2 3 4 5 6 7 8 20 0 1 0 " + std::to_string(start) + " 99 1\n";
}

struct ProcessRun : Recording {
    ProcessRun() {
        m_options.seconds = 0.2;
        m_root.put("proc/uptime", "5.00 1.00");
        add(1, "init", 0, 10);
        add(40, "old", 1, 300);
        count(10, 100);
    }
    void add(int pid, const std::string& name, int parent, int start) const {
        m_root.put("proc/" + std::to_string(pid) + "/stat", stat(pid, name, parent, start));
    }
    void count(int forks, int tasks) const {
        m_root.put("proc/stat", "processes " + std::to_string(forks) + "\n");
        m_root.put("proc/loadavg", "0 0 0 1/" + std::to_string(tasks) + " 9\n");
    }
};

TEST(Processes, areSeenToStartAndExit) {
    ProcessRun run;
    run.at(1, [&] {
        run.add(50, "a) b (c", 40, 505);
        run.add(60, "new", 50, 508);
        std::filesystem::create_symlink("/opt/bin/tool (deleted)", run.m_root.path() / "proc/60/exe");
        run.add(7, "kworker/0:1", 2, 506);
        run.m_root.put("proc/70/comm", "gone before it was read");
        run.m_root.put("proc/99x/stat", "no pid");
        run.count(13, 103);
    });
    run.at(2, [&] {
        for (const char* pid : {"40", "60"}) run.m_root.remove(std::string("proc/") + pid);
        run.count(13, 101);
    });
    run.record();
    EXPECT_THAT(
        run.elements("Process Events"),
        ElementsAre(
            "100 [kworker]: Started 0 Started Process=[kworker/0:1] PID=7 Parent PID=2 Start (usec)=60000",
            "100 a) b (c: Started 0 Started Process=a) b (c PID=50 Parent PID=40 Start (usec)=50000",
            "100 tool: Started 0 Started Process=/opt/bin/tool PID=60 Parent PID=50 Start (usec)=80000",
            "200 old: Exited 2200 Exited Process=old PID=40 Parent PID=1 Start (usec)=-2000000",
            "200 tool: Exited 120 Exited Process=/opt/bin/tool PID=60 Parent PID=50 Start (usec)=80000"));
    EXPECT_THAT(run.rows("Process Events Summary: Total"),
                ElementsAre("Started, 3", "Exited, 2", "Executed, 0"));
    EXPECT_THAT(run.rows("Process Events Summary: Counts"),
                ElementsAre("[kworker], 1, 0, 0", "a) b (c, 1, 0, 0", "old, 0, 0, 1", "tool, 1, 0, 1"));
    int ends = 0;
    for (const std::string& line : run.m_lines) ends += line.starts_with("{\"msg\":\"end\"") ? 1 : 0;
    EXPECT_EQ(ends, 2);
}

TEST(Processes, areSeenToExecuteAnotherProgram) {
    ProcessRun run;
    run.m_options.seconds = 0.4;
    const auto link = [&](const char* pid, const char* target) {
        const auto path = run.m_root.path() / "proc" / pid / "exe";
        std::filesystem::remove(path);
        std::filesystem::create_symlink(target, path);
    };
    link("40", "/bin/sh");
    for (int pid = 100; pid < 200; ++pid) run.add(pid, "filler", 1, 20);
    run.at(1, [&] {
        run.add(50, "sh", 40, 505);  // forked by the shell, not executed yet
        link("50", "/bin/sh");
        run.count(11, 101);
    });
    run.at(2, [&] { link("50", "/opt/bin/tool, new"); });
    run.at(3, [&] { link("40", "/bin/late"); });
    run.record();
    // The young one is looked at in the next sample, the old one when its turn comes: 103 in 4 samples.
    EXPECT_THAT(
        run.elements("Process Events"),
        ElementsAre(
            "100 sh: Started 0 Started Process=/bin/sh PID=50 Parent PID=40 Start (usec)=50000",
            "200 tool; new: Executed 0 Executed Process=/opt/bin/tool, new PID=50 Parent PID=40 Start "
            "(usec)=50000",
            "400 late: Executed 0 Executed Process=/bin/late PID=40 Parent PID=1 Start (usec)=-2000000"));
    EXPECT_THAT(run.rows("Process Events Summary: Counts"),
                ElementsAre("late, 0, 1, 0", "sh, 1, 0, 0", "tool; new, 0, 1, 0"));
}

TEST(Processes, areTwoWhenAPidIsUsedAgain) {
    ProcessRun run;
    run.at(1, [&] {
        std::filesystem::rename(run.m_root.path() / "proc/40",
                                run.m_root.path() / "away");  // keeps its inode
        run.add(40, "next", 1, 505);
        run.count(11, 100);
    });
    run.record();
    EXPECT_THAT(
        run.elements("Process Events"),
        ElementsAre("100 old: Exited 2100 Exited Process=old PID=40 Parent PID=1 Start (usec)=-2000000",
                    "100 next: Started 0 Started Process=next PID=40 Parent PID=1 Start (usec)=50000"));
}

TEST(Processes, areLookedForOnlyWhenTheKernelCountsAChange) {
    ProcessRun run;
    run.at(1, [&] { run.add(50, "hidden", 1, 505); });
    run.record();
    EXPECT_THAT(run.elements("Process Events"), IsEmpty());
}

}  // namespace
