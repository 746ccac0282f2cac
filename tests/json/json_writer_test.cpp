#include "json/json_plugin.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "continuous/cont_writer.h"
#include "host/model/handles.h"
#include "host/model/metric.h"
#include "host/model/system_metadata.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/messages.h"
#include "tests/plugins/test_environment.h"

namespace {

std::string contentOf(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

class JSONWriterTest : public testing::Test {
protected:
    JSONWriterTest() : m_entity(1, host::model::HandleTexts("CPU 0"), "CPU 0", 1, nullptr) {
        m_environment.m_logLevel = 2;
        m_metadata.m_tscFrequency = 1.0F;
        m_element.m_entity = &m_entity;
        m_element.m_value.setUInt(5);
        m_sample.elements.push_back(&m_element);
        m_metric.m_name = "Reading";
        m_metric.m_metricType = pwr::Metric::SAMPLED_VALUE;
        m_metric.m_sample = &m_sample;
    }

    std::int32_t sendSystem(JSONWriter& writer) {
        pwr::SystemMessage message;
        message.m_metadata = &m_metadata;
        return writer.writeMessage(message);
    }

    std::int32_t sendSample(JSONWriter& writer, std::uint64_t timestamp) {
        m_sample.timestamp = timestamp;
        return writer.writeMessage(m_metric);
    }

    TestEnvironment m_environment;
    host::model::SystemMetadata m_metadata;
    host::model::Entity m_entity;
    host::model::Element m_element;
    host::model::Metric m_metric;
    pwr::Metric::Sample m_sample;
};

TEST_F(JSONWriterTest, RegistersItself) {
    JSONWriter writer;
    ASSERT_EQ(writer.m_capabilities.size(), 1U);
    const auto* capability = dynamic_cast<pwr::WriterPluginCapability*>(writer.m_capabilities[0]);
    ASSERT_NE(capability, nullptr);
    EXPECT_EQ(writer.m_id, "2e820d9e-2f9e-4cdb-a81d-056273a7a392");
    EXPECT_EQ(capability->m_name, "json");
    EXPECT_EQ(capability->m_extension, ".ztjson");
    EXPECT_EQ(capability->m_flags, pwr::PluginCapability::FLAG_CONTINUOUS);
    EXPECT_TRUE(capability->m_tableClasses.empty());
}

TEST_F(JSONWriterTest, NeedsASystemMessageForADocument) {
    std::filesystem::remove("alone.ztjson");
    JSONWriter writer;
    EXPECT_EQ(writer.init("alone", false), 0);
    EXPECT_EQ(sendSample(writer, 100), 0);
    EXPECT_FALSE(writer.flushContinuousResults(m_metadata));
    EXPECT_EQ(writer.fini(), 1);
    EXPECT_FALSE(std::filesystem::exists("alone.ztjson"));
    EXPECT_EQ(m_environment.infoLines(),
              "2|WARNING: There was no system message, so alone.ztjson is not written\n");
}

// Samples that come before the system message have the time 0; what comes after it has its own.
TEST_F(JSONWriterTest, TakesSamplesBeforeTheSystemMessage) {
    JSONWriter writer;
    writer.init("early", false);
    m_metric.m_metricType = pwr::Metric::SAMPLED_DELTA;
    m_element.m_duration = 10;
    sendSample(writer, 100);
    sendSystem(writer);
    sendSample(writer, 200);
    EXPECT_EQ(writer.fini(), 0);
    EXPECT_NE(contentOf("early.ztjson")
                  .find(R"("points":[{"x":0,"x1":0,"y":5.0},{"x":190,"x1":200,"y":5.0}]}}}}})"),
              std::string::npos);
}

// Of a counter the state is what a series is named by, of a reading the entity.
TEST_F(JSONWriterTest, TellsMetricsOfOneIdApart) {
    const host::model::Descriptor descriptor(2, host::model::HandleTexts("sleep"));
    m_element.m_descriptor = &descriptor;
    m_element.m_duration = 1;
    JSONWriter writer;
    writer.init("one_id", false);
    sendSystem(writer);
    for (std::uint64_t time = 10; time <= 40; time += 10) {
        m_metric.m_metricType = time % 20 == 0 ? pwr::Metric::SAMPLED_DELTA : pwr::Metric::SAMPLED_RESIDENCY;
        sendSample(writer, time);
    }
    EXPECT_EQ(writer.fini(), 0);
    const std::string content = contentOf("one_id.ztjson");
    for (
        const char* points :
        {R"("name":"CPU 0","friendlyName":"CPU 0","points":[{"x":9,"x1":10,"y":{"0":5.0}},{"x":29,"x1":30,)",
         R"("name":"CPU 0sleep","friendlyName":"sleep","points":[{"x":19,"x1":20,"y":5.0},{"x":39,"x1":40,)"})
        EXPECT_NE(content.find(points), std::string::npos) << points << "\n" << content;
}

// The collector belongs to the process: the first writer names it, later ones share it, a metric's tree is
// made once, and the files are numbered across writers.
TEST_F(JSONWriterTest, SharesOneCollectorInContinuousMode) {
    EXPECT_EQ(g_contWriter, nullptr);
    m_metric.m_id = 77;
    JSONWriter first;
    JSONWriter second;
    ASSERT_EQ(first.init("first", true), 0);
    ContWriter* const collector = g_contWriter;
    ASSERT_NE(collector, nullptr);
    ASSERT_EQ(second.init("second", true), 0);
    EXPECT_EQ(g_contWriter, collector);
    sendSystem(first);
    sendSystem(second);

    EXPECT_EQ(sendSample(first, 1), 0);
    EXPECT_EQ(sendSample(second, 2), 0);
    EXPECT_TRUE(second.flushContinuousResults(m_metadata));
    EXPECT_EQ(sendSample(second, 3), 0);
    EXPECT_TRUE(first.flushContinuousResults(m_metadata));
    EXPECT_EQ(sendSample(first, 4), 0);
    EXPECT_EQ(first.fini(), 0);
    EXPECT_EQ(second.fini(), 0);

    const std::string both = contentOf("first_0.ztjson");
    EXPECT_NE(both.find(R"("Name":"Reading","ID":77)"), std::string::npos);
    EXPECT_NE(both.find(R"("Timestamp":1,)"), std::string::npos);
    EXPECT_NE(both.find(R"("Timestamp":2,)"), std::string::npos);
    const std::string later = contentOf("first_1.ztjson");
    EXPECT_EQ(later.find("Reading"), std::string::npos);
    EXPECT_NE(later.find(R"("Data":[{"ID":77,"Entity":"CPU 0","Descriptor":"N/A","Timestamp":3,)"),
              std::string::npos);
    // A host may keep the handles of all files of a run.
    for (const char* path : {"first_0.ztjson", "first_1.ztjson"})
        EXPECT_EQ(m_environment.getFileOutputHandle(path)->m_buffer.capacity(), 0U) << path;
    for (const char* path : {"first.ztjson", "second.ztjson", "second_0.ztjson", "first_2.ztjson"})
        EXPECT_FALSE(std::filesystem::exists(path)) << path;
}

}  // namespace
