// What the trace of a recording knows beside the events themselves.
#include <gmock/gmock.h>

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "host/record/trace/buffer_page.h"
#include "host/record/trace/idle_state_table.h"
#include "host/record/trace/kernel_symbols.h"
#include "host/record/trace/package_energy.h"
#include "host/record/trace/trace_clock.h"
#include "host/record/trace/trace_sets.h"
#include "simulation.h"

namespace {

using namespace host::record;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(TraceClock, StampsBecomeTicksEvenlyBetweenReadings) {
    TraceClock clock;
    clock.add(1'000'000, 5'000'000);
    clock.add(2'000'000, 8'000'000);   // 3 ticks for each ns
    clock.add(3'000'000, 10'000'000);  // 2
    clock.add(3'000'000, 11'000'000);  // none: time went on by one clock alone
    EXPECT_EQ(6'500'000U, clock.ticks(1'500'000));
    EXPECT_EQ(8'000'000U, clock.ticks(2'000'000));
    EXPECT_EQ(9'000'000U, clock.ticks(2'500'000));
    EXPECT_EQ(12'000'000U, clock.ticks(4'000'000));
    EXPECT_EQ(2'000'000U, clock.ticks(0));
    for (const std::uint64_t stamp : {500'000U, 1'600'000U, 2'400'000U, 3'500'000U})
        EXPECT_EQ(stamp, clock.stamp(clock.ticks(stamp)));
    // Intervals that follow each other in stamps do so in ticks.
    std::uint64_t before = clock.ticks(1'999'990);
    for (std::uint64_t stamp = 1'999'991; stamp < 2'000'010; ++stamp) {
        EXPECT_GE(clock.ticks(stamp), before);
        before = clock.ticks(stamp);
    }
}

TEST(TraceClock, OfALongRunTheLatestReadingsAreKept) {
    TraceClock clock;
    for (std::uint64_t i = 0; i < 10'000; ++i) clock.add(i * 1000, i * 2000);
    EXPECT_EQ(19'000'000U, clock.ticks(9'500'000));
    EXPECT_EQ(2'000U, clock.ticks(1'000));
}

TEST(TraceSets, ListsOfNamesBecomeEventsOnce) {
    TraceOptions options;
    EXPECT_EQ("", options.setSets(" Procs,WAKEUPS,procs"));
    EXPECT_THAT(options.sets, ElementsAre("procs", "wakeups"));
    std::size_t switches = 0;
    for (const TraceEvent& event : options.events()) switches += event.text() == "sched:sched_switch" ? 1 : 0;
    EXPECT_EQ(1U, switches);
    for (const char* bad : {"", "idle,", "idle,fork", "all"})
        EXPECT_THAT(options.setSets(bad), HasSubstr("there are: idle, freq, wakeups, procs, sources, marks"));
}

TEST(KernelSymbols, FunctionsAreFoundByTheAddressTheyBeginAt) {
    const KernelSymbols symbols(
        "0000000000000000 A fixed_percpu_data\n"
        "ffffffff81000300 t late\n"
        "ffffffff81000100 T first\n"
        "ffffffff81000100 t alias\n"
        "ffffffff81000200 d data\n"
        "not a line\n"
        "ffffffffc0000010 t module_timer\t[module]");
    EXPECT_EQ("first", symbols.find(0xffffffff81000100));
    EXPECT_EQ("late", symbols.find(0xffffffff81000300));
    EXPECT_EQ("module_timer", symbols.find(0xffffffffc0000010));
    EXPECT_EQ("", symbols.find(0xffffffff81000101));
    EXPECT_EQ("", symbols.find(0xffffffff81000200));
    EXPECT_TRUE(KernelSymbols("0000000000000000 T hidden\n").isEmpty());
    const auto texts =
        readKernelTexts("0xffffffff82000000 : \"freeze \\\"x\\\"\"\n0xzz : \"\"\n0x10 :\n0x20 : \"a\"\n");
    ASSERT_EQ(2U, texts.size());
    EXPECT_EQ(0xffffffff82000000, texts[0].first);
    EXPECT_EQ("a", texts[1].second);
}

// Words of 32 bits.
std::string words(std::initializer_list<std::uint32_t> numbers) {
    std::string bytes;
    for (const std::uint32_t number : numbers)
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    return bytes;
}

TEST(BufferPage, RecordsAreTakenApartByTheirLengths) {
    const auto record = [](std::uint32_t type, std::uint32_t delta) { return type | delta << 5; };
    const std::string data =
        words({record(2, 5), 11, 12, record(30, 3), 1, record(0, 1), 7}) + "abc." +
        words({record(29, 4), 8, 0, record(1, 2), 21, record(31, 9), 2, record(1, 0), 22, record(29, 0), 0});
    const auto page = [&](std::uint32_t flags, const std::string& behind) {
        return words({1000, 0, static_cast<std::uint32_t>(data.size()) | flags, 0}) + data + behind;
    };
    std::vector<std::pair<std::uint64_t, std::string>> found;
    const auto take = [&](std::uint64_t stamp, std::span<const char> bytes) {
        found.emplace_back(stamp, std::string(bytes.begin(), bytes.end()));
    };
    EXPECT_EQ(0U, readBufferPage(page(0, ""), take));
    constexpr std::uint64_t EXTENDED = 1005 + 3 + (1U << 27);
    EXPECT_THAT(found,
                ElementsAre(std::pair(1005U, words({11, 12})), std::pair(EXTENDED + 1, "abc"),
                            std::pair(EXTENDED + 7, words({21})), std::pair(9U + (2U << 27), words({22}))));
    EXPECT_EQ(1U, readBufferPage(page(1U << 31, ""), take));
    EXPECT_EQ(77U, readBufferPage(page(3U << 30, words({77, 0})), take));
    // Whatever a page says, it ends where its bytes do.
    const std::string whole = page(0, "");
    for (std::size_t size = 0; size < whole.size(); ++size) readBufferPage({whole.data(), size}, take);
    readBufferPage(words({0, 0, 0xFFFFF, 0, record(0, 1), 0xFFFFFFF0, 0, 0}), take);
}

TEST(IdleStateTable, StatesAreThoseOfTheDriverByNumber) {
    simulation::Folder root;
    const std::string states = "sys/devices/system/cpu/cpu1/cpuidle/state";
    root.put(states + "0/name", "POLL\n");
    root.put(states + "0/residency", "0\n");
    root.put(states + "10/name", "C10\n");
    root.put(states + "10/residency", "600\n");
    root.put(states + "2/name", "C2\n");
    root.put(states + "x/name", "none\n");
    const auto found = readIdleStates(Root(root.path().string()), 1);
    ASSERT_EQ(11U, found.size());
    EXPECT_EQ("POLL", found[0].name);
    EXPECT_EQ("", found[1].name);
    EXPECT_EQ("C2", found[2].name);
    EXPECT_FALSE(found[2].targetUsec);
    EXPECT_EQ(600U, found[10].targetUsec);
    EXPECT_TRUE(readIdleStates(Root(root.path().string()), 0).empty());
}

TEST(PackageEnergy, PackagesAreAddedAndGoRound) {
    simulation::Folder root;
    const std::string zones = "sys/class/powercap/intel-rapl:";
    const auto put = [&](const std::string& zone, const std::string& name, const std::string& energy) {
        root.put(zones + zone + "/name", name + "\n");
        root.put(zones + zone + "/energy_uj", energy + "\n");
        root.put(zones + zone + "/max_energy_range_uj", "100000\n");
    };
    put("0", "package-0", "1000");
    put("0:0", "core", "900");
    put("1", "package-1", "99000");
    put("2", "psys", "7");
    PackageEnergy energy{Root(root.path().string())};
    ASSERT_TRUE(energy.isMeasured());
    EXPECT_FALSE(energy.take());  // what was used before
    put("0", "package-0", "1500");
    put("1", "package-1", "400");
    EXPECT_EQ(500U + 1400U, energy.take());
    put("1", "package-1", "300");  // set back
    EXPECT_FALSE(energy.take());
    put("1", "package-1", "350");
    EXPECT_EQ(50U, energy.take());
    put("0", "package-0", "");
    EXPECT_FALSE(energy.take());
    EXPECT_FALSE(PackageEnergy{Root("/proc/self/nothing")}.isMeasured());
}

}  // namespace
