// What the writers tell, and keep, when memory is lacking in any place.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

#include "host/model/environment.h"
#include "host/model/handles.h"
#include "host/model/metric.h"
#include "host/model/quantity.h"
#include "host/model/system_metadata.h"
#include "overtime/phmwriter_text_plugin.h"
#include "overtime/raw_writer_v2.h"
#include "tests/binary/allocation_faults.h"
#include "tests/support/all_writers.h"

namespace {

// Takes no memory itself for what is told in one step.
class Lines : public pwr::Logger {
public:
    Lines() { m_text.reserve(4096); }
    void log(std::int32_t, const char* line) override { m_text += line; }
    std::string m_text;
};

class MemoryFaults : public testing::Test {
protected:
    MemoryFaults() { m_environment.m_logLevel = 2; }

    Lines m_log;
    host::model::Environment m_environment{m_log, m_log};
};

// Every operation that needs memory says so, by the writer's name, and fails.
TEST_F(MemoryFaults, AreToldByEachOperation) {
    const std::string name = "a name that is too long for a short text";
    host::model::SystemMetadata metadata;
    metadata.m_tscFrequency = metadata.m_cpuFrequency = 1000.0F;
    metadata.m_commandLine = {name};
    pwr::SystemMessage system;
    system.m_metadata = &metadata;
    const host::model::Entity entity(1, host::model::HandleTexts(name), name, 1, nullptr);
    const host::model::Descriptor descriptor(2, host::model::HandleTexts(name));
    host::model::Element element;
    element.m_entity = &entity;
    element.m_descriptor = &descriptor;
    pwr::Metric::Sample sample{1000, {&element}};
    host::model::Metric metric;
    metric.m_sample = &sample;
    metric.m_name = "M";
    pwr::TextMessage text;
    text.m_text = name;
    const auto toldBySteps = [&](WriterPlugin& writer) {
        std::string all;
        const auto step = [&](const char* what, const auto& operation) {
            m_log.m_text.clear();
            allocation_faults::failAfter(0);
            const int status = operation();
            allocation_faults::stop();
            const std::string told = m_log.m_text;
            all += std::string(what) + " " + std::to_string(status) + " " + (told.empty() ? "\n" : told);
        };
        step("init", [&] { return writer.init(name, false); });
        EXPECT_EQ(writer.init("run", false), 0);
        step("system", [&] { return writer.writeMessage(system); });
        writer.writeMessage(system);
        step("metric", [&] { return writer.writeMessage(metric); });
        step("text", [&] { return writer.writeMessage(text); });
        writer.writeMessage(metric);
        step("fini", [&] { return writer.fini(); });
        return all;
    };
    // What each writer takes when there is memory needs none when there is none.
    const auto named = [](const std::string& writer) {
        return " 1 ERROR: The writer \"" + writer + "\" ran out of memory.\n";
    };
    const auto forWhat = [](const char* what) {
        return std::string(" 1 ERROR: Out of memory for ") + what + "\n";
    };
    const std::string noMemory = " 1 ERROR: Binary writer plugin ran out of memory\n";
    const std::string fine = " 0 \n";
    const struct {
        std::string init, system, metric, text, fini;
    } cases[] = {
        {named("sum"), fine, fine, named("sum"), named("sum")},
        {named("vyrta"), named("vyrta"), named("vyrta"), fine,
         " 1 WARNING: VyrtaWriterPlugin:    Failed to write magic record.\n"},  // its header is not whole
        {forWhat(("the start of " + name).c_str()), forWhat("the system data of run.ztjson"),
         forWhat("the points of M"), fine, forWhat("the rest of run.ztjson")},
        {noMemory, fine, noMemory, fine, noMemory},
        {named("raw"), fine, named("raw") + "WARNING: Failed to initialize buffer.\n", fine, named("raw")},
        {named("int"), fine, named("int"), fine, named("int")},
        {named("phm-csv"), fine, named("phm-csv"), named("phm-csv"), named("phm-csv")},
        {named("auto"), named("auto"), fine, fine, named("auto")},
    };
    // The host knows the results of a first run, and takes no memory for their names in the second.
    const test::AllWriters first;
    const test::AllWriters writers;
    ASSERT_EQ(writers.count(), std::ssize(cases));
    for (int i = 0; i < writers.count(); ++i) {
        EXPECT_EQ(first[i].init("run", false), 0);
        first[i].writeMessage(system);
        first[i].fini();
        const auto& test = cases[i];
        EXPECT_EQ(toldBySteps(writers[i]), "init" + test.init + "system" + test.system + "metric" +
                                               test.metric + "text" + test.text + "fini" + test.fini);
    }
}

// Each allocation of a message fails in turn. That sample is lost at most; what comes after it is there
// whole.
TEST_F(MemoryFaults, LoseASampleAtMost) {
    m_environment.m_logLevel = 0;
    host::model::SystemMetadata metadata;
    metadata.m_tscFrequency = metadata.m_cpuFrequency = 1000.0F;
    pwr::SystemMessage system;
    system.m_metadata = &metadata;
    host::model::Quantity quantity(9);
    quantity.m_name = "a quantity with a name of its own";
    const host::model::Attribute attribute(3, host::model::HandleTexts("an attribute"), nullptr,
                                           pwr::ATTRIBUTE_DATA);
    host::model::Entity entity(1, host::model::HandleTexts("an entity with a long name"),
                               "an entity with a long name", 1, nullptr);
    host::model::Descriptor descriptor(2, host::model::HandleTexts("a descriptor with a long name"));
    const host::model::Descriptor other(4, host::model::HandleTexts("another descriptor with a long name"));
    host::model::Element element;
    element.m_entity = &entity;
    element.m_descriptor = &descriptor;
    element.m_duration = 1;
    pwr::Metric::Sample sample{1000, {&element}};
    host::model::Metric metric;
    metric.m_sample = &sample;
    metric.m_name = "a metric with a long name";
    metric.m_groupName = "a group with a long name";
    metric.m_quantity = &quantity;
    metric.m_hasEntityAttributes = true;
    metric.m_entities = {&entity};
    metric.m_attributeDescriptors = {{&entity, &descriptor}, {&entity, &other}};

    const auto check = [&](auto make, const std::string& result) {
        for (const auto type :
             {pwr::Metric::SAMPLED_DELTA, pwr::Metric::SAMPLED_RESIDENCY, pwr::Metric::SAMPLED_VALUE,
              pwr::Metric::TRACED_VALUE_TRANSITION, pwr::Metric::TRACED_EVENT}) {
            metric.m_metricType = type;
            const bool isTraced = type >= pwr::Metric::TRACED_VALUE_TRANSITION;
            for (std::size_t n = 0, failed = 1; failed != 0; ++n) {
                SCOPED_TRACE(testing::Message() << result << ", type " << type << ", allocation " << n);
                auto writer = make();
                ASSERT_EQ(writer->init("run", false), 0);
                ASSERT_EQ(writer->writeMessage(system), 0);
                const auto send = [&](unsigned long value) {
                    if (isTraced)
                        element.m_value.setHandle(&descriptor);
                    else
                        element.m_value.setUInt(value);
                    ++sample.timestamp;
                    try {
                        return writer->writeMessage(metric);
                    } catch (const char*) {  // what a store throws without a file, and "phm-csv" passes on
                        return 1;
                    }
                };
                allocation_faults::failAfter(n);
                const int status = send(1234567);
                failed = allocation_faults::stop() ? 1 : 0;
                EXPECT_LE(status, static_cast<int>(failed));
                EXPECT_EQ(send(7654321), 0);
                EXPECT_EQ(send(7654321), 0);
                EXPECT_LE(writer->fini(), static_cast<int>(failed));
                std::ostringstream content;
                content << std::ifstream(result, std::ios::binary).rdbuf();
                const std::string text = content.str();
                // A table that was begun in vain has each column once all the same.
                std::istringstream lines(text);
                for (std::string line; std::getline(lines, line);)
                    for (const char* title : {"Sample #", "Timestamp", "Duration (ms)"})
                        EXPECT_EQ(line.find(title), line.rfind(title)) << line;
                EXPECT_NE(text.find("a descriptor with a long name"), std::string::npos);
                EXPECT_TRUE(isTraced || text.find("7654321") != std::string::npos);
            }
        }
    };
    check([] { return std::make_unique<RawWriterV2>(); }, "run.txt");
    check([] { return std::make_unique<IntWriterV2>(); }, "run_trace.csv");
    check([] { return std::make_unique<PhmTextWriter>(); }, "run_a group with a long name_phm.csv");
}

}  // namespace
