// What can hold the package awake: files as the kernel writes them, at the start and at the end.
#include <gmock/gmock.h>

#include <map>

#include "tests/record/simulation.h"

namespace {

using simulation::Recording;
using testing::ElementsAre;
using testing::IsEmpty;

using Files = std::map<std::string, std::string>;

const std::string CORE = "sys/kernel/debug/pmc_core/";
const std::string DEVICE = "sys/devices/pci0000:00/0000:00:14.0/power/";

class Awake : public testing::Test {
protected:
    void record(const Files& before, const Files& later) {
        for (const auto& [name, text] : before) m_run.m_root.put(name, text);
        m_run.at(1, [&] {
            for (const auto& [name, text] : later) m_run.m_root.put(name, text);
        });
        EXPECT_EQ(m_run.record(), host::record::RecordResult::Complete);
        EXPECT_THAT(m_run.m_reported, IsEmpty());
    }

    Recording m_run;
};

TEST_F(Awake, packageFilesHaveTheirValuesAtBothEnds) {
    const std::string tolerance =
        "SOUTHPORT_A                      LTR: RAW: 0x0                Non-Snoop(ns): 0                "
        "Snoop(ns): 0               \n";
    record({{CORE + "package_cstate_show",
             "Package C2 : 100\nPackage C3 : 9\nPackage C8 : 0xfffffffffffffff0\n"},
            {CORE + "ltr_show",
             tolerance + "XHCI\tLTR: RAW: 0x8c548c54\tNon-Snoop(ns): 7\tSnoop(ns): 1048576\tLTR_IGNORE: 0\n"},
            {CORE + "substate_requirements",
             "                       Element |    S0i2.0 |    S0i3.0 |    Status |\n"
             "               USB2PLL_OFF_STS |  Required |  Required |       Yes |\n"
             "                  FUSE_OFF_STS |           |  Required |           |\n"
             "                   NOT_ASKED   |           |           |       Yes |\n"}},
           {{CORE + "package_cstate_show",
             "Package C2 : 350\nPackage C3 : 8\nPackage C8 : 0x10\nPackage C10 : 5\n"},
            {CORE + "ltr_show", tolerance + "ME\tLTR: RAW: 0x1\tNon-Snoop(ns): 0\tSnoop(ns): 9\n"},
            {CORE + "substate_requirements",
             "                       Element |    S0i2.0 |    S0i3.0 |    Status | Live Status |\n"
             "               USB2PLL_OFF_STS |  Required |  Required |           |        Yes |\n"}});
    EXPECT_THAT(m_run.rows("Package C-State Counters Summary: Counts"),
                ElementsAre("Package C2, 100, 350, 250", "Package C3, 9, 8, -",
                            "Package C8, 0xfffffffffffffff0, 0x10, 32", "Package C10, -, 5, -"));
    EXPECT_THAT(m_run.rows("Latency Tolerance Summary: Latencies"),
                ElementsAre("XHCI, 7, -, 1048576, -", "ME, -, 0, -, 9"));
    EXPECT_THAT(
        m_run.rows("Substate Requirements Summary: Status"),
        ElementsAre("USB2PLL_OFF_STS, Required, Required, Yes, No", "FUSE_OFF_STS, -, Required, No, -"));
}

TEST_F(Awake, devicesAndLimitsAreThoseThatHold) {
    const std::string tolerates(1, '\x14');
    record({{DEVICE + "control", "on\n"},
            {DEVICE + "runtime_status", "active\n"},
            {DEVICE + "pm_qos_resume_latency_us", "0\n"},
            {DEVICE + "pm_qos_latency_tolerance_us", "auto\n"},
            {DEVICE + "pm_qos_no_power_off", "0\n"},
            {"sys/devices/other/power/control", "auto\n"},
            {"sys/devices/system/cpu/cpu0/power/pm_qos_resume_latency_us", "n/a\n"},
            {"sys/module/pcie_aspm/parameters/policy", "default [performance] powersave \n"},
            {"dev/cpu_dma_latency", std::string("\0\x94\x35\x77", 4)}},
           {{DEVICE + "control", "auto\n"},
            {DEVICE + "pm_qos_resume_latency_us", "250\n"},
            {"sys/devices/other/power/control", "on\n"},
            {"sys/module/pcie_aspm/parameters/policy", "default performance [powersave] \n"},
            {"dev/cpu_dma_latency", tolerates + std::string(3, '\0')}});
    EXPECT_THAT(m_run.rows("Devices Kept On Summary: Status"),
                ElementsAre("pci0000:00/0000:00:14.0, active, -", "other, -, on"));
    EXPECT_THAT(m_run.rows("Link Power Policy Summary: Setting"),
                ElementsAre("ASPM Policy, performance, powersave"));
    EXPECT_THAT(
        m_run.rows("Latency Limits Summary: Requests"),
        ElementsAre("System, Wakeup Latency (usec), none, 20", "system/cpu/cpu0, Resume Latency (usec), 0, 0",
                    "pci0000:00/0000:00:14.0, Resume Latency (usec), -, 250"));
}

TEST_F(Awake, garbageAndMachinesWithoutSuchFilesGiveNoTable) {
    record({{CORE + "package_cstate_show", "\n::\nPackage\n"},
            {CORE + "ltr_show", "LTR:\nLTR: Snoop(ns):\n\xff\xfe LTR Non-Snoop(ns): 5\n"},
            {CORE + "substate_requirements", "|||\nElement |\n a | b | c |\n"},
            {"dev/cpu_dma_latency", "?"}},
           {});
    for (const char* const title :
         {"Package C-State Counters Summary: Counts", "Latency Tolerance Summary: Latencies",
          "Substate Requirements Summary: Status", "Devices Kept On Summary: Status",
          "Link Power Policy Summary: Setting", "Latency Limits Summary: Requests"})
        EXPECT_THAT(m_run.rows(title), IsEmpty()) << title;
}

}  // namespace
