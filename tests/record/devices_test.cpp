// Sources of devices, processes and groups, each on files as the kernel writes them: what they deliver while
// counters go round, vanish and return garbage.
#include <gmock/gmock.h>

#include <map>

#include "host/record/suspend_watch.h"
#include "tests/record/simulation.h"

namespace {

using simulation::Recording;
using testing::ElementsAre;
using testing::IsEmpty;

using Files = std::map<std::string, std::string>;

struct Case {
    const char* title;
    std::vector<Files> files;  // before the start, then those that change before each sample
    const char* metric;
    std::vector<std::string> elements;  // without the zeros of the time: "1" is a second
};

// A sample each second, with the elements' times and durations in seconds.
std::vector<std::string> elementsOf(const Case& test, std::size_t top = 20) {
    Recording run;
    run.m_options.intervalMs = 1000;
    run.m_options.seconds = static_cast<double>(test.files.size()) - 1;
    run.m_options.top = top;
    const auto put = [&](const Files& files) {
        for (const auto& [name, text] : files) run.m_root.put(name, text);
    };
    put(test.files[0]);
    for (std::size_t i = 1; i < test.files.size(); ++i)
        run.at(static_cast<int>(i), [&, i] { put(test.files[i]); });
    EXPECT_EQ(run.record(), host::record::RecordResult::Complete);
    std::vector<std::string> elements = run.elements(test.metric);
    for (std::string& text : elements) {
        for (std::size_t at; (at = text.find("000 ")) != std::string::npos;) text.erase(at, 3);
    }
    return elements;
}

void check(const std::vector<Case>& cases, std::size_t top = 20) {
    for (const Case& test : cases) {
        SCOPED_TRACE(test.title);
        EXPECT_EQ(elementsOf(test, top), test.elements);
    }
}

TEST(Devices, deliverWhatSupplyAndSensorFilesHold) {
    const std::string battery = "sys/class/power_supply/BAT0/";
    const std::string monitor = "sys/class/hwmon/hwmon3/";
    const std::string zone = "sys/class/powercap/intel-rapl:0/";
    const std::string cpu = "sys/devices/system/cpu/cpu0/";
    check({
        {"power from current and voltage",
         {{{battery + "current_now", "-1500000\n"}, {battery + "voltage_now", "12000000\n"}},
          {{battery + "current_now", "garbage"}},
          {{battery + "current_now", "500000\n"}}},
         "Battery Power",
         {"2 BAT0: Power 1 6.000"}},
        {"power as it is told",
         {{{battery + "power_now", "-7250000\n"},
           {battery + "current_now", "1"},
           {battery + "voltage_now", "1"}},
          {}},
         "Battery Power",
         {"1 BAT0: Power 1 7.250"}},
        {"current without its direction",
         {{{battery + "current_now", "-1500000\n"}}, {}},
         "Battery Current",
         {"1 BAT0: Current 1 1.500"}},
        {"energy",
         {{{battery + "energy_now", "50120000\n"}}, {}},
         "Battery Energy",
         {"1 BAT0: Energy 1 50.120"}},
        {"charge",
         {{{battery + "charge_now", "3215000\n"}}, {}, {{battery + "charge_now", ""}}},
         "Battery Charge",
         {"1 BAT0: Charge 1 3.215"}},
        {"status of a battery and of a charger",
         {{{battery + "status", "Discharging\n"}, {"sys/class/power_supply/AC/online", "0\n"}},
          {{battery + "status", "Not charging\n"}, {"sys/class/power_supply/AC/online", "1\n"}},
          {}},
         "Power Supply Status",
         {"1 AC: Offline 1 Offline", "1 BAT0: Discharging 1 Discharging", "2 AC: Online 1 Online",
          "2 BAT0: Not charging 1 Not charging"}},
        {"a labelled voltage, and another",
         {{{monitor + "name", "chip\n"},
           {monitor + "in0_input", "12000\n"},
           {monitor + "in0_label", "VIN, rail\n"},
           {monitor + "in10_input", "3300\n"},
           {monitor + "in10_min", "1"}},
          {}},
         "Sensor Voltage",
         {"1 chip VIN; rail: Voltage 1 12.000", "1 chip in10: Voltage 1 3.300"}},
        {"power, else its average",
         {{{monitor + "power1_average", "9000000\n"},
           {monitor + "power2_average", "1"},
           {monitor + "power2_input", "4500000"},
           {monitor + "power3_average", "7000000"},
           {monitor + "power3_input", ""}},
          {}},
         "Sensor Power",
         {"1 hwmon3 power1: Power 1 9.000", "1 hwmon3 power2: Power 1 4.500",
          "1 hwmon3 power3: Power 1 7.000"}},
        {"a fan that stops to answer",
         {{{monitor + "name", "ec"}, {monitor + "fan2_input", "2400\n"}}, {{monitor + "fan2_input", ""}}, {}},
         "Fan Speed",
         {}},
        {"events of energy, which the running machine alone can count",
         {{{"sys/bus/event_source/devices/power/type", "1"},
           {"sys/bus/event_source/devices/power/cpumask", "0"},
           {"sys/bus/event_source/devices/power/events/energy-pkg", "event=0x00"},
           {"sys/bus/event_source/devices/power/events/energy-pkg.scale", "1e-9"}},
          {}},
         "Power Domain Energy",
         {}},
        {"limits of a domain",
         {{{zone + "name", "package-0\n"},
           {zone + "constraint_0_name", "long_term\n"},
           {zone + "constraint_0_power_limit_uw", "28000000\n"},
           {zone + "constraint_1_power_limit_uw", "64000000\n"}},
          {{zone + "constraint_0_power_limit_uw", "15000000\n"}}},
         "Power Domain Limit",
         {"1 package-0: long_term 1 15.000", "1 package-0: constraint_1 1 64.000"}},
        {"cooling devices of one type",
         {{{"sys/class/thermal/cooling_device0/type", "Processor"},
           {"sys/class/thermal/cooling_device0/cur_state", "0"},
           {"sys/class/thermal/cooling_device1/type", "Processor"},
           {"sys/class/thermal/cooling_device1/cur_state", "3"}},
          {}},
         "Cooling Device State",
         {"1 Processor: State 1 0.000", "1 Processor (cooling_device1): State 1 3.000"}},
        {"throttling, with a counter that is set back",
         {{{cpu + "topology/core_id", "0"},
           {cpu + "thermal_throttle/core_throttle_count", "5"},
           {cpu + "thermal_throttle/package_throttle_count", "9"}},
          {{cpu + "thermal_throttle/core_throttle_count", "8"},
           {cpu + "thermal_throttle/package_throttle_count", "1"}},
          {{cpu + "thermal_throttle/package_throttle_count", "2"}}},
         "Thermal Throttles",
         {"1 CPU0: Core 1 3", "2 CPU0: Core 1 0", "2 CPU0: Package 1 1"}},
        {"frequency as the hardware tells it",
         {{{cpu + "cpufreq/scaling_cur_freq", "<unknown>\n"},
           {cpu + "cpufreq/cpuinfo_avg_freq", "2400000\n"},
           {cpu + "cpufreq/cpuinfo_cur_freq", "1"}},
          {}},
         "CPU Frequency",
         {"1 CPU0: Frequency 1 2400.000"}},
        {"frequency as the firmware tells it",
         {{{cpu + "cpufreq/cpuinfo_cur_freq", "1100000\n"}}, {}},
         "CPU Frequency",
         {"1 CPU0: Frequency 1 1100.000"}},
        {"time at each frequency, in hundredths of a second",
         {{{cpu + "cpufreq/stats/time_in_state", "800000 100\n2400000 7\n"}},
          {{cpu + "cpufreq/stats/time_in_state", "800000 175\n2400000 32\n"}},
          {{cpu + "cpufreq/stats/time_in_state", "800000 175\n"}}},
         "CPU Frequency Residency",
         {"1 CPU0: 800 MHz 1 750000000", "1 CPU0: 2400 MHz 1 250000000"}},
        {"graphics",
         {{{"sys/class/drm/card1/gt_act_freq_mhz", "350\n"},
           {"sys/class/drm/card1-DP-1/gt_act_freq_mhz", "9"}},
          {}},
         "GPU Frequency",
         {"1 card1: Frequency 1 350.000"}},
        {"graphics that its own monitor tells of",
         {{{"sys/class/drm/card1/device/hwmon/hwmon5/freq1_input", "1250000000\n"}}, {}},
         "GPU Frequency",
         {"1 card1: Frequency 1 1250.000"}},
        {"busy graphics",
         {{{"sys/class/drm/card1/device/gpu_busy_percent", "37\n"}}, {}},
         "GPU Busy",
         {"1 card1: Busy 1 37.000"}},
        {"sleep of the graphics",
         {{{"sys/class/drm/card1/gt/gt0/rc6_residency_ms", "1000\n"}},
          {{"sys/class/drm/card1/gt/gt0/rc6_residency_ms", "1600\n"}}},
         "GPU RC6",
         {"1 card1: RC6 1 600000000"}},
        {"devices that suspend",
         {{{"sys/devices/pci0/00:1f.2/power/runtime_status", "active\n"},
           {"sys/devices/pci0/00:1f.2/power/runtime_active_time", "5000\n"},
           {"sys/devices/pci0/00:1f.2/power/runtime_suspended_time", "0\n"},
           {"sys/devices/pci0/00:1f.3/power/runtime_status", "unsupported\n"},
           {"sys/devices/pci0/00:1f.3/power/runtime_active_time", "0\n"},
           {"sys/devices/pci0/00:1f.3/power/runtime_suspended_time", "0\n"}},
          {{"sys/devices/pci0/00:1f.2/power/runtime_active_time", "5300\n"},
           {"sys/devices/pci0/00:1f.2/power/runtime_suspended_time", "700\n"}}},
         "Device Runtime Power",
         {"1 pci0/00:1f.2: Active 1 300000000", "1 pci0/00:1f.2: Suspended 1 700000000"}},
    });
}

TEST(Devices, deliverTheLinesOfTables) {
    const std::string disks =
        "   8       0 sda 100 0 1000 5 200 0 4000 6 0 900 11\n   8       1 sda1 100 0 1000 5 200 0 4000 6 0 "
        "900 11\n"
        "   7       0 loop0 0 0 0 0 0 0 0 0 0 0 0\n";
    check({
        {"whole disks that do something",
         {{{"proc/diskstats", disks}},
          {{"proc/diskstats",
            "   8 0 sda 103 0 1010 5 204 0 4100 6 0 950 11\n   8 1 sda1 9999 0 9999 5 9 0 9 6 0 9 9\n"
            "   7 0 loop0 1 0 8 0 0 0 0 0 0 0 0\n"}}},
         "Disk Transfer",
         {"1 sda: Read 1 5120", "1 sda: Written 1 51200"}},
        {"busy time goes round behind 32 bits",
         {{{"proc/diskstats",
            "   8 0 nvme0n1 1 0 1 5 2 0 4 6 0 4294967000 11\n   8 1 nvme0n1p1 1 0 1 5 2 0 4 6 0 1 1\n"}},
          {{"proc/diskstats", "   8 0 nvme0n1 1 0 1 5 2 0 4 6 0 204 11\n"}},
          {{"proc/diskstats", "garbage\n   8 0\n"}},
          {{"proc/diskstats", "   8 0 nvme0n1 1 0 1 5 2 0 4 6 0 304 11\n"}}},
         "Disk Busy Time",
         {"1 nvme0n1: Busy 1 500", "3 nvme0n1: Busy 2 100"}},
        {"a network device that comes and one that begins anew",
         {{{"proc/net/dev",
            "Inter-|   Receive | Transmit\n face |bytes\n"
            "  eth0: 1000 10 1 2 0 0 0 0 500 5 3 4 0 0 0 0\n"}},
          {{"proc/net/dev",
            "Inter-|   Receive | Transmit\n face |bytes\n"
            "  eth0: 1600 13 1 3 0 0 0 0 500 5 3 4 0 0 0 0\n"
            "wlan0:7 1 0 0 0 0 0 0 7 1 0 0 0 0 0 0\n"}},
          {{"proc/net/dev",
            "  eth0: 10 1 0 0 0 0 0 0 20 1 0 0 0 0 0 0\n"
            " wlan0:9 1 0 0 0 0 0 0 7 1 0 0 0 0 0 0\n"}}},
         "Network Transfer",
         {"1 eth0: Received 1 600", "1 eth0: Sent 1 0", "2 wlan0: Received 1 2", "2 wlan0: Sent 1 0"}},
        {"what a network device lost",
         {{{"proc/net/dev", "  eth0: 1000 10 1 2 0 0 0 0 500 5 3 4 0 0 0 0\n"}},
          {{"proc/net/dev", "  eth0: 1000 10 2 5 0 0 0 0 500 5 9 4 0 0 0 0\n"}}},
         "Network Errors",
         {"1 eth0: Receive Errors 1 1", "1 eth0: Send Errors 1 6", "1 eth0: Receive Drops 1 3",
          "1 eth0: Send Drops 1 0"}},
        {"stalls",
         {{{"proc/pressure/cpu", "some avg10=0.00 avg60=0.00 avg300=0.00 total=100\n"},
           {"proc/pressure/irq", "full avg10=0.00 avg60=0.00 avg300=0.00 total=7\n"}},
          {{"proc/pressure/cpu", "some avg10=1.00 avg60=0.00 avg300=0.00 total=350\n"}}},
         "Pressure Stall Time",
         {"1 cpu: some 1 250", "1 irq: full 1 0"}},
        {"memory",
         {{{"proc/meminfo", "MemTotal: 90 kB\nMemFree: 20 kB\nCached: 30 kB\nSlab: 1 kB\n"}},
          {{"proc/meminfo", "MemTotal: 90 kB\nMemFree: 10 kB\nCached: 30 kB\nSlab: none\n"}}},
         "Memory",
         {"1 System: MemFree 1 10", "1 System: Cached 1 30"}},
        {"a line that a CPU left and came back to, and one that went round",
         {{{"proc/interrupts",
            "      CPU0  CPU1\n 24: 5 100 PCI-MSI 512000-edge  ahci[0000:00:17.0]\n"
            "LOC: 4294967290 7 Local timer interrupts\nERR: 0\n"}},
          {{"proc/interrupts",
            "      CPU0\n 24: 15 PCI-MSI 512000-edge  ahci[0000:00:17.0]\n"
            "LOC: 4 Local timer interrupts\nERR: 0\n"}},
          {{"proc/interrupts",
            "      CPU0  CPU1\n 24: 15 130 PCI-MSI 512000-edge  nvme0q1, nvme0q2\n"
            "LOC: 4 8 Local timer interrupts\nERR: 0\n"}},
          {{"proc/interrupts", "garbage\n"}},
          {{"proc/interrupts", "      CPU0\n 24: 19 PCI-MSI 512000-edge  nvme0q1, nvme0q2\n"}}},
         "Interrupt Lines",
         {"1 System: 24 ahci[0000:00:17.0] 1 10", "1 System: LOC Local timer interrupts 1 10",
          "1 System: other 1 0", "2 System: 24 nvme0q1; nvme0q2 1 30",
          "2 System: LOC Local timer interrupts 1 1", "2 System: other 1 0",
          "4 System: 24 nvme0q1; nvme0q2 2 4", "4 System: other 2 0"}},
        {"soft interrupts",
         {{{"proc/softirqs",
            "                    CPU0       CPU1\n          HI:          1          2\n"
            "       TIMER:         10         20\n"}},
          {{"proc/softirqs",
            "                    CPU0       CPU1\n          HI:          1          2\n"
            "       TIMER:         13         24\n"}}},
         "Soft Interrupts",
         {"1 System: HI 1 0", "1 System: TIMER 1 7"}},
    });
}

std::string processLine(int pid, const std::string& name, int user, int system, int start) {
    return std::to_string(pid) + " (" + name + ") S 1 1 1 0 -1 0 0 0 0 0 " + std::to_string(user) + " " +
           std::to_string(system) + " 0 0 20 0 1 0 " + std::to_string(start) + " 1 1\n";
}

TEST(Devices, deliverTheTopOfProcessesAndTheRest) {
    check({{"times in hundredths of a second",
            {{{"proc/1/stat", processLine(1, "init", 50, 50, 1)},
              {"proc/20/stat", processLine(20, "a) (b", 10, 0, 2)},
              {"proc/30/stat", processLine(30, "idle", 5, 5, 3)},
              {"proc/70/stat", "garbage"}},
             {{"proc/1/stat", processLine(1, "init", 51, 51, 1)},
              {"proc/20/stat", processLine(20, "a) (b", 15, 10, 2)},
              {"proc/44/stat", processLine(44, "new", 3, 0, 600)}},
             {{"proc/20/stat", processLine(20, "again", 4, 0, 700)}, {"proc/30/stat", ""}},
             {{"proc/30/stat", processLine(30, "idle", 5, 6, 3)},
              {"proc/70/stat", processLine(70, "late", 500, 0, 4)}}},
            "Process CPU Time",
            {"1 a) (b (20): CPU Time 1 150", "1 new (44): CPU Time 1 30", "1 other: CPU Time 1 20",
             "2 again (20): CPU Time 1 40", "2 other: CPU Time 1 0", "3 idle (30): CPU Time 1 10",
             "3 other: CPU Time 1 0"}}},
          2);
}

TEST(Devices, deliverTheTopOfControlGroups) {
    const std::string tree = "sys/fs/cgroup/";
    check({{"the shared tree",
            {{{tree + "cgroup.controllers", "cpu memory"},
              {tree + "cpu.stat", "usage_usec 9999\n"},
              {tree + "system.slice/cpu.stat", "usage_usec 1000\nuser_usec 1\n"},
              {tree + "system.slice/ssh.service/cpu.stat", "usage_usec 500\n"},
              {tree + "user.slice/cpu.stat", "usage_usec 1\n"}},
             {{tree + "system.slice/cpu.stat", "usage_usec 1700\n"},
              {tree + "system.slice/ssh.service/cpu.stat", "usage_usec 1100\n"},
              {tree + "user.slice/cpu.stat", "usage_usec 9\n"}},
             {{tree + "system.slice/ssh.service/cpu.stat", ""},
              {tree + "system.slice/cpu.stat", "garbage"},
              {tree + "user.slice/cpu.stat", "usage_usec 19\n"}},
             {{tree + "system.slice/ssh.service/cpu.stat", "usage_usec 40\n"},  // another one
              {tree + "system.slice/cpu.stat", "usage_usec 1750\n"}}},
            "Control Group CPU Time",
            {"1 /system.slice: CPU Time 1 700", "1 /system.slice/ssh.service: CPU Time 1 600",
             "2 /user.slice: CPU Time 1 10", "3 /system.slice: CPU Time 1 50",
             "3 /system.slice/ssh.service: CPU Time 1 40"}},
           {"a tree for each controller",
            {{{tree + "cpuacct/job/cpuacct.usage", "5000000\n"}},
             {{tree + "cpuacct/job/cpuacct.usage", "6000999\n"}}},
            "Control Group CPU Time",
            {"1 /job: CPU Time 1 1000"}},
           {"memory of the largest",
            {{{tree + "memory/a/memory.usage_in_bytes", "100\n"},
              {tree + "memory/b/memory.usage_in_bytes", "300\n"},
              {tree + "memory/c/memory.usage_in_bytes", "200\n"}},
             {{tree + "memory/a/memory.usage_in_bytes", "250\n"}}},
            "Control Group Memory",
            {"1 /b: Memory 1 300", "1 /a: Memory 1 250"}}},
          2);
}

TEST(Devices, countAGraphicsClientOnce) {
    const auto client = [](int id, int ns, const char* device = "0000:00:02.0") {
        return "pos: 0\ndrm-driver: i915\ndrm-pdev: " + std::string(device) +
               "\ndrm-client-id: " + std::to_string(id) + "\ndrm-engine-render: " + std::to_string(ns) +
               " ns\ndrm-engine-capacity-video: 2\n";
    };
    check({{"two descriptors of one client, two clients of one process",
            {{{"sys/class/drm/card0/uevent", ""},
              {"proc/50/stat", processLine(50, "shell", 0, 0, 1)},
              {"proc/50/fdinfo/3", "pos: 0\nflags: 02\n"},
              {"proc/50/fdinfo/4", client(7, 1000000)},
              {"proc/50/fdinfo/5", client(7, 1000000)},
              {"proc/50/fdinfo/6", client(8, 500)},
              {"proc/60/stat", processLine(60, "other", 0, 0, 1)},
              {"proc/60/fdinfo/9", client(7, 1000000)}},
             {{"proc/50/fdinfo/4", client(7, 3000000)},
              {"proc/50/fdinfo/5", client(7, 3000000)},
              {"proc/50/fdinfo/6", client(8, 1500)},
              {"proc/60/fdinfo/9", client(7, 3000000)}}},
            "GPU Engine Time",
            {"1 shell (50): render 1 2001"}},
           {"clients of one number on two devices, one that fails once, and one that another process keeps",
            {{{"sys/class/drm/card0/uevent", ""},
              {"proc/50/stat", processLine(50, "shell", 0, 0, 1)},
              {"proc/50/fdinfo/4", client(7, 900000000)},
              {"proc/60/stat", processLine(60, "other", 0, 0, 1)},
              {"proc/60/fdinfo/3", client(7, 900000000)},
              {"proc/60/fdinfo/4", client(7, 10000, "0000:01:00.0")}},
             {{"proc/50/fdinfo/4", client(7, 900005000)}, {"proc/60/fdinfo/4", "garbage"}},
             {{"proc/50/fdinfo/4", ""},
              {"proc/60/fdinfo/3", client(7, 900008000)},
              {"proc/60/fdinfo/4", client(7, 30000, "0000:01:00.0")}}},
            "GPU Engine Time",
            {"1 shell (50): render 1 5", "2 other (60): render 2 23"}}});
}

TEST(SuspendWatch, goesOnThroughSleepsWhateverTheCounterDoes) {
    using Watch = host::record::SuspendWatch;
    constexpr std::int64_t second = 1'000'000'000;
    const struct {
        const char* title;
        Watch::Reading now;
        std::uint64_t ticks;  // that it stands for, 10 s after the first 1000
        std::uint64_t slept;
    } cases[] = {
        {"awake", {10'001'000, 10 * second, 10 * second}, 10'001'000, 0},
        {"a counter that goes on", {10'001'000, 10 * second, 4 * second}, 10'001'000, 6'000'000},
        {"one that stands still", {4'001'000, 10 * second, 4 * second}, 10'001'000, 6'000'000},
        {"one that begins anew", {77, 10 * second, 4 * second}, 10'001'000, 6'000'000},
        {"a short one", {10'001'000, 10 * second, 10 * second - 499'000'000}, 10'001'000, 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.title);
        Watch watch(1.0, {1000, 0, 0});
        watch.update(test.now);
        EXPECT_EQ(test.now.counter + watch.offset(), test.ticks);
        EXPECT_EQ(watch.take(), test.slept);
        EXPECT_EQ(watch.take(), 0U);
    }
}

}  // namespace
