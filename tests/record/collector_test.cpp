// Whole collections: the order of the lines, their delivery, and what ends them early.
#include "host/record/collector.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <set>

#include "tests/record/simulation.h"

namespace {

using host::record::RecordResult;
using simulation::Recording;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::filesystem::path TREES = RECORD_TREES;

std::string contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string text(const std::vector<std::string>& lines) {
    std::string all;
    for (const std::string& line : lines) all += line + "\n";
    return all;
}

std::size_t count(const std::vector<std::string>& lines, std::string_view what) {
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(what) != std::string::npos;
    }));
}

std::size_t indexOf(const std::vector<std::string>& lines, std::string_view what) {
    const auto at = std::find_if(lines.begin(), lines.end(), [&](const std::string& line) {
        return line.find(what) != std::string::npos;
    });
    return static_cast<std::size_t>(at - lines.begin());
}

// The laptop of the captured trees, over two samples.
struct LaptopRecording : Recording {
    LaptopRecording() {
        setenv("TZ", "UTC", 1);
        tzset();
        m_options.seconds = 0.2;
        m_root.lay(TREES / "laptop");
        at(1, [this] { m_root.lay(TREES / "laptop-1"); });
        at(2, [this] { m_root.lay(TREES / "laptop-2"); });
    }
};

TEST(Collector, recordsACapturedMachineToTheByte) {
    LaptopRecording recording;
    EXPECT_EQ(recording.record(), RecordResult::Complete);
    const std::string expected = contents(RECORD_STREAM);
    if (text(recording.m_lines) != expected) std::ofstream("found.stream") << text(recording.m_lines);
    EXPECT_TRUE(text(recording.m_lines) == expected) << "the stream that was found is in found.stream";
    EXPECT_THAT(recording.m_reported,
                ElementsAre(HasSubstr("3 CPUs are online now"), HasSubstr("package-0/core was set back")));
}

TEST(Collector, recordsMachinesThatOfferLittleOrNothing) {
    Recording headless;
    headless.leaveOutOwn();
    headless.m_root.lay(TREES / "headless");
    EXPECT_EQ(headless.record(), RecordResult::Complete);
    EXPECT_EQ(count(headless.m_lines, "\"msg\":\"metric\""), 15U);  // times, three counters, load
    EXPECT_EQ(count(headless.m_lines, "Not offered by this machine: idle, frequency, energy"), 1U);
    EXPECT_THAT(headless.m_reported, IsEmpty());

    Recording empty;
    empty.leaveOutOwn();
    EXPECT_EQ(empty.record(), RecordResult::Complete);
    EXPECT_THAT(empty.m_lines.front(), StartsWith(R"({"msg":"system","cpu":[0,0,0],)"));
    EXPECT_EQ(count(empty.m_lines, "\"msg\":\"metric\""), 0U);
}

TEST(Collector, deliversAsItGoesInContinuousRuns) {
    LaptopRecording gathered;
    gathered.record();
    LaptopRecording recording;
    recording.m_options.continuous = true;
    recording.m_options.flushEverySec = 0.1;
    std::vector<std::size_t> delivered;
    for (int sample : {1, 2})
        recording.at(sample, [&recording, &delivered, change = recording.m_clock.m_changes[sample]] {
            delivered.push_back(recording.m_lines.size());
            change();
        });
    recording.record();
    const std::vector<std::string>& lines = recording.m_lines;

    // The head and the definitions are there before the first sample, each sample before the next.
    ASSERT_EQ(delivered.size(), 2U);
    EXPECT_THAT(lines.front(), HasSubstr("\"start\":5000000000,\"stop\":5200000000,"));
    EXPECT_GT(delivered[0], indexOf(lines, "\"def\":\"metric\""));
    EXPECT_LE(delivered[0], indexOf(lines, "\"t\":5100000000"));
    EXPECT_GT(delivered[1], indexOf(lines, "\"t\":5100000000"));

    // Each flush knows the end as it is then, and the last one comes after the last sample.
    const std::size_t first = indexOf(lines, "\"msg\":\"flush\"");
    EXPECT_EQ(lines[first - 1], R"({"msg":"stop","tsc":5100000000,"durationSec":0.1})");
    EXPECT_EQ(count(lines, "\"msg\":\"flush\""), 3U);

    // But for these lines both kinds of run say the same.
    std::vector<std::string> rest;
    for (const std::string& line : lines)
        if (line.find("\"msg\":\"stop\"") == std::string::npos &&
            line.find("\"msg\":\"flush\"") == std::string::npos)
            rest.push_back(line);
    gathered.m_lines.front() = rest.front() = "";
    EXPECT_EQ(rest, gathered.m_lines);
}

TEST(Collector, endsWithASignal) {
    for (const int sample : {1, 3}) {
        LaptopRecording recording;
        recording.m_options.seconds = 0;
        recording.m_clock.m_signalAt = sample;
        EXPECT_EQ(recording.record(), RecordResult::Complete);
        const std::string taken = std::to_string(sample - 1);
        EXPECT_THAT(recording.m_reported.back(), StartsWith("ended by SIGTERM after 0." + taken + "0 s"));
        EXPECT_EQ(count(recording.m_lines, taken + " samples every 100 msec, ended early by SIGTERM"), 1U);
        EXPECT_THAT(recording.m_lines.back(), StartsWith("{\"def\":\"order\""));
    }
}

TEST(Collector, leavesOutSamplesThatAreDueAlready) {
    Recording recording;
    recording.leaveOutOwn("Recorder CPU Time");
    recording.m_root.put("proc/loadavg", "0.50 1.25 2.00 1/50 100\n");
    recording.m_options.seconds = 1.0;
    recording.at(2, [&] { recording.m_clock.m_ticks += 350'000'000; });  // the machine stood still
    recording.record();
    EXPECT_EQ(recording.elements("Load Average").size(), 7U * 3);
    EXPECT_EQ(count(recording.m_lines, "\"t\":5550000000"), 2U);
    EXPECT_EQ(count(recording.m_lines, "\"t\":5600000000"), 2U);
    // The sample that came late is counted in the next one, and has its true length.
    EXPECT_EQ(recording.elements("Late Samples")[1], "550 System: Late Samples 450 0");
    EXPECT_EQ(recording.elements("Late Samples")[2], "600 System: Late Samples 50 1");
}

TEST(Collector, beginsCountersAnewAfterTheMachineHasSlept) {
    Recording recording;
    recording.m_options.seconds = 30.4;
    recording.m_root.put("proc/stat", "ctxt 100\n");
    recording.m_root.put("sys/class/power_supply/BAT0/status", "Discharging\n");
    recording.at(1, [&] { recording.m_root.put("proc/stat", "ctxt 110\n"); });
    recording.at(3, [&] {
        recording.m_root.put("proc/stat", "ctxt 500\n");
        recording.m_clock.m_ticks += 30'000'000'000;
        recording.m_clock.m_suspended = 29'900'000'000;
    });
    recording.at(4, [&] { recording.m_root.put("proc/stat", "ctxt 507\n"); });
    recording.record();
    EXPECT_THAT(recording.elements("Suspend"), ElementsAre("30300 System: Suspended 29900 Suspended"));
    EXPECT_THAT(recording.elements("Context Switches"),
                ElementsAre("100 System: Context Switches 100 10", "200 System: Context Switches 100 0",
                            "30400 System: Context Switches 100 7"));
    EXPECT_THAT(recording.elements("Power Supply Status"),
                ElementsAre("30400 BAT0: Discharging 100 Discharging"));
}

TEST(Collector, samplesEachSourceAtItsOwnIntervalAndAllAtTheEnd) {
    Recording recording;
    recording.m_options.seconds = 2.55;
    recording.m_options.intervalMs = 300;
    recording.m_root.put("proc/loadavg", "0.50 1.25 2.00 1/50 100\n");
    recording.m_root.put("sys/class/power_supply/BAT0/capacity", "50");
    recording.m_root.put("sys/class/hwmon/hwmon0/fan1_input", "2000");
    recording.m_root.put("proc/stat", "ctxt 1\n");
    EXPECT_EQ(recording.m_options.selection.addInterval("HWMON=1250", recording.m_options.intervalMs), "");
    // One of each source that is sampled every second unless the user says otherwise.
    const char* const slow[] = {
        "Battery Capacity", "Cooling Device State", "Control Group Memory", "Device Runtime Power",
        "GPU Busy",         "Process CPU Time"};
    recording.m_root.put("sys/class/thermal/cooling_device0/cur_state", "1");
    recording.m_root.put("sys/fs/cgroup/cgroup.controllers", "");
    recording.m_root.put("sys/fs/cgroup/a/memory.current", "4096");
    for (const auto& [name, text] :
         {std::pair("status", "active"), std::pair("active_time", "1"), std::pair("suspended_time", "1")})
        recording.m_root.put(std::string("sys/devices/a/power/runtime_") + name, text);
    recording.m_root.put("sys/class/drm/card0/device/gpu_busy_percent", "1");
    recording.m_root.put("proc/1/stat", "1 (init) S 0 1 1 0 -1 0 0 0 0 0 7 7 0 0 20 0 1 0 1 1 1");
    std::vector<std::string> metrics(std::begin(slow), std::end(slow));
    metrics.insert(metrics.end(), {"Fan Speed", "Context Switche?"});
    recording.m_options.selection.setMetrics(metrics, {});
    recording.record();
    for (const char* metric : slow) {
        std::set<std::string> times;
        for (const std::string& text : recording.elements(metric))
            times.insert(text.substr(0, text.find(' ')));
        EXPECT_THAT(times, ElementsAre("1000", "2000", "2550")) << metric;
    }
    EXPECT_THAT(recording.elements("Battery Capacity"),
                ElementsAre("1000 BAT0: Capacity 1000 50.000", "2000 BAT0: Capacity 1000 50.000",
                            "2550 BAT0: Capacity 550 50.000"));
    EXPECT_THAT(recording.elements("Fan Speed"),
                ElementsAre("1250 hwmon0 fan1: Speed 1250 2000.000", "2500 hwmon0 fan1: Speed 1250 2000.000",
                            "2550 hwmon0 fan1: Speed 50 2000.000"));
    EXPECT_EQ(recording.elements("Context Switches").size(), 9U);
    EXPECT_THAT(recording.elements("Load Average"), IsEmpty());
    EXPECT_EQ(count(recording.m_lines, "\"def\":\"metric\""), metrics.size());
}

TEST(Collector, splitsSamplesThatAreTooLargeForOneRecord) {
    Recording recording;
    recording.leaveOutOwn();
    std::string stat;
    for (int cpu = 0; cpu < 130; ++cpu) stat += "cpu" + std::to_string(cpu) + " 1 1 1 1 1 1 1 1 0 0\n";
    recording.m_root.put("proc/stat", stat);
    recording.m_options.seconds = 0.1;
    recording.record();
    EXPECT_EQ(count(recording.m_lines, "\"t\":5100000000"), 3U);
    EXPECT_EQ(recording.elements("CPU Time States").size(), 130U * 8);
}

TEST(Collector, stopsWhenTheStreamIsNotWanted) {
    for (const bool continuous : {false, true}) {
        LaptopRecording recording;
        recording.m_options.continuous = continuous;
        recording.m_refuseAt = 5;
        EXPECT_EQ(recording.record(), RecordResult::Refused);
        EXPECT_EQ(recording.m_lines.size(), 5U);
    }
}

TEST(Collector, savesWhatItDelivers) {
    for (const bool continuous : {false, true}) {
        const simulation::Folder folder;
        LaptopRecording recording;
        recording.m_options.continuous = continuous;
        recording.m_options.save = (folder.path() / "saved").string();
        EXPECT_EQ(recording.record(), RecordResult::Complete);
        EXPECT_EQ(contents(recording.m_options.save), text(recording.m_lines));
    }
}

TEST(Collector, reportsASavedStreamThatIsNotComplete) {
    const simulation::Folder folder;
    folder.put("victim", "untouched");
    std::filesystem::create_symlink("victim", folder.path() / "link");
    ASSERT_EQ(mkfifo((folder.path() / "pipe").c_str(), 0600), 0);
    const struct {
        std::string path;
        const char* reason;
        bool isDelivered;
    } cases[] = {
        {"/dev/full", "Unable to write /dev/full: No space left on device", true},
        {folder.path() / "none/file", "No such file or directory", false},
        {folder.path(), "Is a directory", false},
        {folder.path() / "link", "Too many levels of symbolic links", false},
        {folder.path() / "pipe", "No such device or address", false},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.path);
        LaptopRecording recording;
        recording.m_options.save = test.path;
        EXPECT_EQ(recording.record(), RecordResult::Failed);
        EXPECT_THAT(recording.m_reported.back(),
                    testing::AllOf(HasSubstr(test.path), HasSubstr(test.reason)));
        EXPECT_EQ(!recording.m_lines.empty(), test.isDelivered);
    }
    EXPECT_EQ(contents(folder.path() / "victim"), "untouched");
}

}  // namespace
