// The recorder's parts that are easiest to break on their own: texts, topology, the spool.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <set>

#include "host/base/text.h"
#include "host/base/utf8.h"
#include "host/emit/spool.h"
#include "host/record/machine.h"
#include "host/record/part_processes.h"
#include "host/record/perf_counter.h"
#include "host/record/system_clock.h"
#include "tests/record/simulation.h"

namespace {

using namespace host::base;
using namespace host::emit;
using namespace host::record;
using testing::ElementsAre;

TEST(Text, isMadeUtf8) {
    const struct {
        std::string_view given;
        std::string_view expected;
    } cases[] = {
        {"plain", "plain"},
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x99\x82", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x99\x82"},
        {"a\xFF"
         "b",
         "a\uFFFDb"},
        {"\xC3", "\uFFFD"},                                // cut off
        {"\xC0\xAF", "\uFFFD\uFFFD"},                      // longer than need be
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},            // half of a pair
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond the last character
    };
    for (const auto& test : cases) EXPECT_EQ(toUtf8(test.given), test.expected);
    EXPECT_EQ(cutUtf8("ab\xE2\x82\xAC", 4), "ab");
    EXPECT_EQ(cutUtf8("ab\xE2\x82\xAC", 5), "ab\xE2\x82\xAC");
}

TEST(Text, listsCpus) {
    EXPECT_THAT(*parseCpuList("0-2,7,10-11\n"), ElementsAre(0, 1, 2, 7, 10, 11));
    EXPECT_TRUE(parseCpuList("")->empty());
    for (const char* bad : {"x", "3-1", "0-", "0-99999999", ",1"}) EXPECT_FALSE(parseCpuList(bad)) << bad;
}

// The nodes of a topology as "type id parent", types by their first letters.
std::vector<std::string> topologyOf(const std::vector<std::array<std::int64_t, 4>>& places) {
    const simulation::Folder folder;
    folder.put("sys/devices/system/cpu/online", "0-" + std::to_string(places.size() - 1));
    const char* names[] = {"physical_package_id", "die_id", "cluster_id", "core_id"};
    for (std::size_t cpu = 0; cpu < places.size(); ++cpu)
        for (std::size_t i = 0; i < 4; ++i)
            folder.put("sys/devices/system/cpu/cpu" + std::to_string(cpu) + "/topology/" + names[i],
                       std::to_string(places[cpu][i]));
    std::vector<std::string> nodes;
    for (const TopologyNode& node : readMachine(Root(folder.path().string()), 1000.0).topology)
        nodes.push_back(" PMCT"[static_cast<int>(node.type)] + std::to_string(node.id) + " " +
                        std::to_string(node.parent));
    return nodes;
}

TEST(Machine, tellsItsTopology) {
    // Two threads on each of two cores, numbered across the cores.
    EXPECT_THAT(topologyOf({{0, 0, 0, 0}, {0, 0, 1, 1}, {0, 0, 0, 0}, {0, 0, 1, 1}}),
                ElementsAre("P0 -1", "C0 0", "T0 1", "T2 1", "C1 0", "T1 4", "T3 4"));
    // Two packages whose cores have the same numbers.
    EXPECT_THAT(topologyOf({{0, 0, -1, 0}, {1, 0, -1, 0}}),
                ElementsAre("P0 -1", "C0 0", "T0 1", "P1 -1", "C0 3", "T1 4"));
    // A large core beside a cluster of two small ones.
    EXPECT_THAT(topologyOf({{0, 0, 0, 0}, {0, 0, 8, 4}, {0, 0, 8, 5}}),
                ElementsAre("P0 -1", "M8 0", "C4 1", "T1 2", "C5 1", "T2 4", "C0 0", "T0 6"));
    // One cluster that is the package; cores of two dies with the same number.
    EXPECT_THAT(topologyOf({{0, 0, 3, 0}, {0, 1, 3, 0}}),
                ElementsAre("P0 -1", "C0 0", "T0 1", "C0 0", "T1 3"));
    // Numbers that cannot be those of a kernel.
    EXPECT_THAT(topologyOf({{-1, 0, 0, 2147483647}, {1LL << 40, -1, 2147483648, 4294967295}}),
                ElementsAre("P0 -1", "C1 0", "T1 1", "C2147483647 0", "T0 3"));
}

TEST(Machine, isLabelledByItsOwnFilesAlone) {
    const simulation::Folder folder;
    for (const char* cpu : {"cpu0", "cpu1", "cpu2", "cpufreq"})
        folder.put(std::string("sys/devices/system/cpu/") + cpu + "/uevent", "");
    folder.put("sys/devices/system/cpu/offline", "1\n");  // and no list of those that are online
    const Machine machine = readMachine(Root(folder.path().string()), 1000.0);
    EXPECT_EQ(machine.host + machine.osName + machine.osType + machine.osVersion, "");
    std::vector<unsigned> cpus;
    for (const TopologyNode& node : machine.topology)
        if (node.type == NodeType::Thread) cpus.push_back(node.id);
    EXPECT_THAT(cpus, ElementsAre(0, 2));
    EXPECT_NE(readMachine(Root("/"), 1000.0).host, "");
}

TEST(Root, keepsLinksOfAnotherMachineInside) {
    if (syscall(SYS_openat2, AT_FDCWD, ".", nullptr, 0) < 0 &&
        errno != EINVAL)  // ENOSYS, or EPERM in a container
        GTEST_SKIP() << "the kernel can't keep links inside of a folder";
    const simulation::Folder folder;
    folder.put("proc/meminfo", "of the other\n");
    for (const auto& [name, target] :
         {std::pair("absolute", "/proc/meminfo"), std::pair("gone", "/proc/uptime"),
          std::pair("up", "../../../../../../../../proc/uptime")})
        std::filesystem::create_symlink(target, folder.path() / name);
    const Root root(folder.path().string());
    EXPECT_EQ(root.text("absolute"), "of the other");
    EXPECT_EQ(root.text("gone") + root.text("up"), "");
    EXPECT_EQ(root.link("gone"), "/proc/uptime");
    EXPECT_TRUE(root.names("../..", "dev").empty());
    EXPECT_NE(Root("/").text("proc/uptime"), "");
}

TEST(SystemClock, waitsAndHearsSignals) {
    const simulation::Folder folder;
    SystemClock clock{Root(folder.path().string())};
    EXPECT_GT(clock.ticksPerUsec(), 100.0);
    const std::uint64_t until = clock.ticks() + static_cast<std::uint64_t>(2000 * clock.ticksPerUsec());
    EXPECT_TRUE(clock.waitUntil(until));
    EXPECT_GE(clock.ticks(), until);
    raise(SIGTERM);
    EXPECT_FALSE(clock.waitUntil(clock.ticks() + (std::uint64_t{1} << 50)));
    EXPECT_EQ(clock.interruption(), "SIGTERM");
    EXPECT_FALSE(clock.waitUntil(0));
    raise(SIGINT);  // too late to end anything, and no reason to die when the clock goes
}

TEST(SystemClock, isThatOfTheRunningMachineForACaptureToo) {
    const simulation::Folder folder;
    folder.put("sys/devices/system/cpu/cpu0/tsc_freq_khz", "99112005\n");
    const double here = SystemClock(Root("/")).ticksPerUsec();
    EXPECT_NEAR(SystemClock(Root(folder.path().string())).ticksPerUsec(), here, here / 100);
}

TEST(PerfCounter, counts) {
    const PerfCounter clock(1, 0, 0);  // of the kernel's own events: nanoseconds that a CPU ran
    std::uint64_t first = 0;
    std::uint64_t second = 0;
    if (!clock.isOpen()) GTEST_SKIP() << "the kernel does not allow performance events here";
    ASSERT_TRUE(clock.read(first));
    usleep(2000);
    ASSERT_TRUE(clock.read(second));
    EXPECT_GE(second - first, 1'000'000U);
}

TEST(Parts, areNamedInFrontOfTheExtension) {
    const std::pair<const char*, const char*> cases[] = {{"run.jsonl", "run.0001.jsonl"},
                                                         {"a.b/run", "a.b/run.0001"},
                                                         {"my.run.jsonl.zst", "my.run.0001.jsonl.zst"},
                                                         {".hidden", ".hidden.0001"}};
    for (const auto& [path, name] : cases) EXPECT_EQ(partName(path, ".0001"), name);
}

TEST(Parts, nameAnyNumberOfFiles) {
    signal(SIGPIPE,
           SIG_IGN);  // as the program does: a part that does not begin may end before its line is written
    const simulation::Folder folder;
    std::vector<std::string> made;
    const auto begin = [&](const std::string& suffix) {
        if (suffix == ".0003") return false;
        for (int i = 0; i < 1500; ++i)
            made.push_back(folder.path() / (std::string(60, 'n') + suffix + std::to_string(i)));
        for (const std::string& name : made) std::ofstream(name) << "x";
        return true;
    };
    std::string told;
    {
        PartProcesses parts(
            {begin, [](std::string_view) { return true; }, [] { return 0; }, [&] { return made; }}, "", 1,
            [&](const std::string& text) { told += text; });
        for (int status : {0, 0, 1}) {
            parts.open()("line");
            parts.close();
            parts.reap(true);
            EXPECT_EQ(parts.status(), status);
        }
    }
    EXPECT_EQ(told, "");
    std::size_t left = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        left += entry.path().filename().string().find(".0002") != std::string::npos ? 1 : 2000;
    EXPECT_EQ(left, 1500U) << "those of the first part, or of one that has given way to a part without files";
}

TEST(Parts, thatFailGoBeforeGoodOnes) {
    signal(SIGPIPE, SIG_IGN);
    const simulation::Folder folder;
    const std::string statuses = "002220020";  // what each part ends with
    std::string file;
    char status = '0';
    const auto begin = [&](const std::string& suffix) {
        file = folder.path() / ("run" + suffix);
        status = statuses.at(static_cast<std::size_t>(std::stoi(suffix.substr(1))) - 1);
        std::ofstream(file) << "x";
        return true;
    };
    PartProcesses parts({begin, [](std::string_view) { return true; }, [&] { return status - '0'; },
                         [&] { return std::vector<std::string>{file}; }},
                        "", 2, [](const std::string& text) { ADD_FAILURE() << text; });
    // The parts that are left after each.
    for (const char* left : {"1", "12", "23", "24", "25", "26", "67", "78", "79"}) {
        parts.open()("line");
        parts.close();
        parts.reap(true);
        std::set<char> found;
        for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
            found.insert(entry.path().string().back());
        EXPECT_EQ(std::string(found.begin(), found.end()), left);
    }
}

std::vector<std::string> replayed(Spool& spool) {
    std::vector<std::string> lines;
    spool.replay([&](std::string_view line) {
        lines.emplace_back(line);
        return true;
    });
    return lines;
}

TEST(Spool, keepsLinesOfAllLengthsInOrder) {
    for (const std::size_t window : {1U, 7U, 64U, 1U << 20}) {
        Spool spool(window);
        std::vector<std::string> expected;
        for (std::size_t length = 0; length < 200; ++length) {
            expected.emplace_back(length, static_cast<char>('a' + length % 26));
            EXPECT_TRUE(spool.append(expected.back()));
        }
        EXPECT_EQ(replayed(spool), expected);
        EXPECT_EQ(spool.error(), "");
    }
}

TEST(Spool, keepsWholeLinesWhenTheDiskIsFull) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{100, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    Spool spool(20);
    std::vector<std::string> kept;
    for (int i = 0; i < 50; ++i)
        if (const std::string line = "line " + std::to_string(i); spool.append(line)) kept.push_back(line);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_LT(kept.size(), 50U);
    EXPECT_GT(kept.size(), 10U);
    EXPECT_EQ(spool.error(), "Unable to write a temporary file in the working directory: File too large");
    EXPECT_EQ(replayed(spool), kept);
}

}  // namespace
