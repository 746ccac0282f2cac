// The writers as the host finds them, and the memory rules of the list that holds them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <set>
#include <string>

#include "host/model/metric.h"
#include "host/model/system_metadata.h"
#include "host/model/table.h"
#include "plugins/numbers.h"
#include "plugins/plugin_list.h"
#include "plugins/writer_plugin.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/messages.h"
#include "pwr/plugin_requirement.h"
#include "tests/plugins/test_environment.h"

namespace {

struct Expected {
    const char* id;
    const char* name;
    const char* extension;
    std::set<int> tableClasses;
    unsigned flags;
    const char* description;
};

const Expected EXPECTED[] = {
    {"108d88ba-5ee4-11e4-aa15-123b93f75cba",
     "sum",
     ".csv",
     {0},
     0,
     "Write summary reports for all collected metrics to CSV file [default]"},
    {"f245366a-c403-478b-aae5-649269da17c7",
     "vyrta",
     ".pwr",
     {3, 4, 5, 6, 7, 8, 9},
     0,
     "Write data trace file (.pwr) in import format for visualization with Orvane Vyrta"},
    {"2e820d9e-2f9e-4cdb-a81d-056273a7a392",
     "json",
     ".ztjson",
     {},
     4,
     "Write data trace file (.ztjson) in JSON format for visualization with Orvane Tessaly"},
    {"c3b1f91c-4a80-11e9-8261-001e67ca31ce",
     "bin",
     ".ztbin",
     {},
     6,
     "Write data in a proprietary binary format (.ztbin) for consumption by the Zentrace API"},
    {"2e820d9e-2f9e-4cdb-a81d-056273a7a391", "raw", ".txt", {}, 2, "Print raw text data to *.txt file"},
    {"b1e44565-005f-46ea-9fbb-34ea6bc01203",
     "int",
     "_trace.csv",
     {},
     0,
     "Write data trace file (*_trace.csv) in CSV format"},
    {"9d2aa443-e197-4628-9ed7-f7772a50828e",
     "phm-csv",
     ".csv",
     {},
     2,
     "Write over-time data to *_phm.csv file."},
    {"894d2fa0-61c8-11e7-9598-0800200c9a66",
     "auto",
     ".csv",
     {},
     0,
     "Write summary data as single line to file Automation_Summary.csv"},
};

// Counts its instances.
class CountedWriter : public WriterPlugin {
public:
    explicit CountedWriter(int& alive) : WriterPlugin("counted"), m_alive(alive) { ++m_alive; }
    ~CountedWriter() override { --m_alive; }
    std::int32_t init(const std::string&, bool) override { return 0; }
    std::int32_t fini() override { return 0; }

private:
    int& m_alive;
};

pwr::WriterPluginCapability* makeCapability() {
    return std::make_unique<pwr::WriterPluginCapability>(std::set<pwr::TableClass>{}, "name", "text", ".ext",
                                                         false)
        .release();
}

}  // namespace

TEST(WriterPlugins, CapabilitiesInOrder) {
    const TestEnvironment environment;
    PluginList* const list = createPlugins();
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->count, static_cast<std::int32_t>(std::size(EXPECTED)));
    for (std::int32_t i = 0; i < list->count; ++i) {
        SCOPED_TRACE(EXPECTED[i].name);
        const Plugin& plugin = *list->plugins[i];
        EXPECT_EQ(plugin.m_handle, -1);
        EXPECT_EQ(plugin.m_id, EXPECTED[i].id);
        EXPECT_EQ(plugin.m_text, "");
        ASSERT_EQ(plugin.m_capabilities.size(), 1u);
        const auto& capability = static_cast<const pwr::WriterPluginCapability&>(*plugin.m_capabilities[0]);
        EXPECT_EQ(capability.m_name, EXPECTED[i].name);
        EXPECT_EQ(capability.m_description, EXPECTED[i].description);
        EXPECT_EQ(capability.m_extension, EXPECTED[i].extension);
        EXPECT_EQ(capability.m_flags, EXPECTED[i].flags);
        EXPECT_EQ(capability.m_owner, &plugin);
        EXPECT_TRUE(capability.m_options.empty());
        EXPECT_TRUE(capability.m_requirements.empty());
        EXPECT_EQ(std::set<int>(capability.m_tableClasses.begin(), capability.m_tableClasses.end()),
                  EXPECTED[i].tableClasses);
    }
    destroyPlugins(list);
}

TEST(WriterPlugins, DestroyAcceptsNullAndHoles) {
    destroyPlugins(nullptr);
    destroyPlugins(std::make_unique<PluginList>(PluginList{8, nullptr}).release());

    int alive = 0;
    auto list = std::make_unique<PluginList>();
    list->count = 3;
    list->plugins = static_cast<Plugin**>(std::calloc(3, sizeof(Plugin*)));
    list->plugins[0] = std::make_unique<CountedWriter>(alive).release();
    list->plugins[2] = std::make_unique<CountedWriter>(alive).release();
    EXPECT_EQ(alive, 2);
    destroyPlugins(list.release());
    EXPECT_EQ(alive, 0);
}

TEST(WriterPlugins, SecondCapabilityIsRefused) {
    for (const int level : {1, 2}) {
        TestEnvironment environment;
        environment.m_logLevel = level;
        int alive = 0;
        CountedWriter writer(alive);
        pwr::WriterPluginCapability* const first = makeCapability();
        writer.addCapability(first);
        const std::unique_ptr<pwr::WriterPluginCapability> second(makeCapability());
        writer.addCapability(second.get());
        EXPECT_EQ(writer.m_capabilities, std::vector<pwr::PluginCapability*>{first});
        EXPECT_EQ(second->m_owner, nullptr);
        EXPECT_EQ(environment.infoLines(),
                  level < 2 ? ""
                            : "2|WARNING: Illegal attempt to register a second capabliity for a writer "
                              "plugin...ignored\n");
    }
}

// A writer that takes only some kinds of messages has no trouble with the others.
TEST(WriterPlugins, TakeWhatTheyDoNotWant) {
    const TestEnvironment environment;
    int alive = 0;
    CountedWriter writer(alive);
    const host::model::SystemMetadata metadata;
    host::model::Metric metric;
    host::model::TableColumns columns;
    columns.index();
    EXPECT_EQ(writer.writeMessage(host::model::TableSnapshot(columns, pwr::TABLE_ROW)), 0);
    EXPECT_EQ(writer.writeMessage(pwr::TextMessage()), 0);
    EXPECT_EQ(writer.writeMessage(pwr::SystemMessage()), 0);
    EXPECT_EQ(writer.writeMessage(pwr::IdMessage()), 0);
    EXPECT_EQ(writer.writeMessage(metric), 0);
    EXPECT_EQ(writer.writeMessage(pwr::MetricContainerInfoMessage()), 0);
    EXPECT_FALSE(writer.flushContinuousResults(metadata));
    EXPECT_TRUE(writer.reset(Plugin::ResetReason{}, 0, metadata));
    EXPECT_TRUE(writer.pmtDevReset(0, 0, metadata));
    EXPECT_EQ(writer.m_handle, -1);
    EXPECT_EQ(writer.m_text, "");
}

TEST(Numbers, SaturateWhereTheyDoNotFit) {
    constexpr double TWO_TO_64 = 18446744073709551616.0;
    constexpr double INF = std::numeric_limits<double>::infinity();
    const struct {
        double value;
        std::uint64_t asUnsigned;
        std::int32_t asSigned;
    } cases[] = {{0.0, 0, 0},
                 {-0.5, 0, 0},
                 {-1.0, 0, -1},
                 {1.9, 1, 1},
                 {2147483646.5, 2147483646, 2147483646},
                 {2147483647.0, 2147483647, 2147483647},
                 {2147483648.0, 2147483648, 2147483647},
                 {-2147483649.0, 0, -2147483647 - 1},
                 {std::nextafter(TWO_TO_64, 0.0), 18446744073709549568U, 2147483647},
                 {TWO_TO_64, ~std::uint64_t{0}, 2147483647},
                 {INF, ~std::uint64_t{0}, 2147483647},
                 {-INF, 0, -2147483647 - 1},
                 {std::nan(""), 0, 0}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.value);
        EXPECT_EQ(truncateSaturated<std::uint64_t>(test.value), test.asUnsigned);
        EXPECT_EQ(truncateSaturated<std::int32_t>(test.value), test.asSigned);
    }
    EXPECT_EQ(truncateSaturated<std::uint64_t>(static_cast<float>(TWO_TO_64)), ~std::uint64_t{0});
}

// Counts its instances.
class CountedCapability : public pwr::WriterPluginCapability {
public:
    explicit CountedCapability(int& alive)
        : WriterPluginCapability({}, "name", "text", ".ext", false), m_alive(alive) {
        ++m_alive;
    }
    ~CountedCapability() override { --m_alive; }

private:
    int& m_alive;
};

class CountedRequirement : public pwr::PluginRequirement {
public:
    explicit CountedRequirement(int& alive) : m_alive(alive) { ++m_alive; }
    ~CountedRequirement() override { --m_alive; }

private:
    int& m_alive;
};

TEST(Plugin, DeletesItsCapabilitiesUpToANullOne) {
    const TestEnvironment environment;
    int alive = 0;
    int requirements = 0;
    const auto kept = std::make_unique<CountedCapability>(alive);
    const auto add = [&] {
        auto capability = std::make_unique<CountedCapability>(alive);
        for (int i = 0; i < 2; ++i)
            capability->m_requirements.push_back(
                std::make_unique<CountedRequirement>(requirements).release());
        return capability.release();
    };
    {
        int writers = 0;
        CountedWriter writer(writers);
        writer.m_capabilities = {add(), add(), nullptr, kept.get()};
        EXPECT_EQ(alive, 3);
        EXPECT_EQ(requirements, 4);
    }
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(requirements, 0);
}
