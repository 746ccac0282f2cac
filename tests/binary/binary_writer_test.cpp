// What whole streams do not show: the limits of the format, memory, and calls out of order.
#include "binary/binarywriter_plugin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <deque>
#include <fstream>
#include <iterator>
#include <sstream>

#include "host/inspect/show.h"
#include "host/model/handles.h"
#include "host/model/metric.h"
#include "host/model/quantity.h"
#include "host/model/system_metadata.h"
#include "plugins/packing.h"
#include "pwr/bin/records.h"
#include "pwr/messages.h"
#include "tests/binary/allocation_faults.h"
#include "tests/plugins/test_environment.h"

namespace {

namespace bin = pwr::bin;
using ::testing::HasSubstr;
using ::testing::Not;

std::size_t countOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// A run of the writer, with what it refers to.
class BinaryWriterTest : public ::testing::Test {
protected:
    BinaryWriterTest() {
        m_metadata.m_tscFrequency = 1000.0F;
        m_system.m_metadata = &m_metadata;
        m_metric.m_name = "Metric";
        m_metric.m_metricType = pwr::Metric::SAMPLED_VALUE;
        m_metric.m_sample = &m_sample;
        setMetricId();
    }

    // Which metrics are described is kept for the process, so each run needs an id of its own.
    void setMetricId() {
        static std::uint32_t s_nextId = 1;
        m_metric.m_id = s_nextId++;
    }

    const host::model::Entity* entity(const std::string& name) {
        return &m_entities.emplace_back(++m_lastId, host::model::HandleTexts(name), name, 1, nullptr);
    }

    const host::model::Descriptor* descriptor(const std::string& name) {
        return &m_descriptors.emplace_back(++m_lastId, host::model::HandleTexts(name));
    }

    void addElement(const pwr::EntityHandle* entity, const pwr::DataDescriptor* descriptor = nullptr) {
        host::model::Element& element = m_elements.emplace_back();
        element.m_entity = entity;
        element.m_descriptor = descriptor;
        element.m_value.setReal(1.5);
        m_sample.elements.push_back(&element);
    }

    // The whole run, with the sample that has been built. Returns the file.
    std::string run(const std::string& name) {
        EXPECT_EQ(m_writer.init(name, false), 0);
        EXPECT_EQ(m_writer.writeMessage(m_system), 0);
        EXPECT_EQ(m_writer.writeMessage(m_metric), 0);
        EXPECT_EQ(m_writer.fini(), 0);
        return contentOf(name + ".ztbin");
    }

    // Decodes a file; what is wrong with it is in m_damage.
    int check(const std::string& path) {
        std::ostringstream out;
        std::ostringstream err;
        const int status = host::inspect::show({path}, false, out, err);
        m_records = out.str();
        m_damage = err.str();
        return status;
    }

    TestEnvironment m_environment;
    host::model::SystemMetadata m_metadata;
    pwr::SystemMessage m_system;
    host::model::Metric m_metric;
    pwr::Metric::Sample m_sample{1000, {}};
    std::deque<host::model::Entity> m_entities;
    std::deque<host::model::Descriptor> m_descriptors;
    std::deque<host::model::Element> m_elements;
    unsigned long m_lastId = 0;
    BinaryWriter m_writer;
    std::string m_records;
    std::string m_damage;
};

// The indices in the order of the StringStore or DescriptorMeta records.
std::vector<unsigned> indicesOf(const std::string& file, bin::MsgType type) {
    std::vector<unsigned> indices;
    for (std::size_t at = 0; at < file.size();) {
        const char* const record = file.data() + at;
        if (packing::get<bin::MsgType>(record + bin::HEAD_TYPE) == type)
            indices.push_back(packing::get<bin::Index>(record + bin::HEAD_LENGTH));
        at += bin::HEAD_LENGTH + packing::get<std::uint16_t>(record);
    }
    return indices;
}

TEST_F(BinaryWriterTest, StringIndicesBeginAnewAfterTheLastOne) {
    // Before the entities' names come three of the metric; the name that gets index 0 comes three times.
    constexpr std::size_t FIRST_NAME = 4;
    constexpr std::size_t NAMES = 65536 - FIRST_NAME + 1;
    for (std::size_t i = 0; i < NAMES; ++i) addElement(entity("entity " + std::to_string(i)));
    addElement(&m_entities.back());
    addElement(&m_entities.back());
    addElement(entity("one more"));
    const std::string file = run("strings");

    std::vector<unsigned> expected;
    for (unsigned i = 1; i <= 65535; ++i) expected.push_back(i);
    expected.insert(expected.end(), {0, 1, 2});  // the last name, the last name again, and one more
    EXPECT_EQ(indicesOf(file, bin::MsgType::StringStore), expected);
    EXPECT_EQ(countOf(m_environment.infoLines(),
                      "0|Note: The binary trace has more than 65535 strings. Their indices begin anew, so "
                      "some names in it refer to the wrong string\n"),
              1U);
    EXPECT_EQ(check("strings.ztbin"), 1);
    EXPECT_THAT(m_damage, HasSubstr("a string has index 0, which refers to nothing\n"));
    EXPECT_THAT(m_damage, HasSubstr("string 1 is defined again\n"));
}

// Of a counter the state is what an element is named by, of a reading the entity.
TEST_F(BinaryWriterTest, TellsMetricsOfOneIdApart) {
    addElement(entity("core"), descriptor("sleep"));
    EXPECT_EQ(m_writer.init("one_id", false), 0);
    EXPECT_EQ(m_writer.writeMessage(m_system), 0);
    for (int i = 0; i < 2; ++i) {
        m_metric.m_metricType = pwr::Metric::SAMPLED_VALUE;
        EXPECT_EQ(m_writer.writeMessage(m_metric), 0);
        m_metric.m_metricType = pwr::Metric::SAMPLED_DELTA;
        EXPECT_EQ(m_writer.writeMessage(m_metric), 0);
    }
    EXPECT_EQ(m_writer.fini(), 0);
    EXPECT_EQ(check("one_id.ztbin"), 0);
    EXPECT_EQ(countOf(m_records, R"("name":"core","descriptor")"), 2U) << m_records;
    EXPECT_EQ(countOf(m_records, R"("name":"sleep","descriptor")"), 2U);
}

TEST_F(BinaryWriterTest, DescriptorIndicesBeginAnewAfterTheLastOne) {
    const pwr::EntityHandle* const cpu = entity("CPU");
    for (unsigned i = 0; i < 65536; ++i) addElement(cpu, descriptor("state"));
    addElement(cpu, &m_descriptors.back());
    addElement(cpu, &m_descriptors.back());
    const std::string file = run("descriptors");

    std::vector<unsigned> expected;
    for (unsigned i = 1; i <= 65537; ++i) expected.push_back(i % 65536);
    EXPECT_EQ(indicesOf(file, bin::MsgType::DescriptorMeta), expected);
    EXPECT_EQ(countOf(m_environment.infoLines(),
                      "0|Note: The binary trace has more than 65535 descriptors. Their indices begin anew, "
                      "so some states in it refer to the wrong descriptor\n"),
              1U);
    EXPECT_EQ(check("descriptors.ztbin"), 1);
    EXPECT_THAT(m_damage, HasSubstr("descriptor 1 is defined again\n"));
}

TEST_F(BinaryWriterTest, LongStringsAreWrittenInFull) {
    const std::string longest(65531, 'a');
    addElement(entity(longest));
    run("longest");
    EXPECT_EQ(check("longest.ztbin"), 0) << m_damage;
    EXPECT_THAT(m_records, HasSubstr(longest));
    EXPECT_THAT(m_environment.infoLines(), Not(HasSubstr("Note:")));
}

TEST_F(BinaryWriterTest, LongerStringsCannotBeParsed) {
    const std::string tooLong(65532, 'b');
    addElement(entity(tooLong));
    addElement(entity(tooLong + "c"));
    const std::string file = run("too-long");
    // The length of the payload is 65536 modulo 65536, that of the string as it is.
    EXPECT_THAT(file, HasSubstr(std::string("\x00\x00\x00\x04\x00\xFC\xFF", 7) + tooLong));
    EXPECT_THAT(file, HasSubstr(std::string("\x01\x00\x00\x05\x00\xFD\xFF", 7) + tooLong + "c"));
    EXPECT_EQ(countOf(m_environment.infoLines(),
                      "0|Note: The binary trace has a string of more than 65531 bytes. It cannot be read "
                      "beyond that string\n"),
              1U);
    EXPECT_EQ(check("too-long.ztbin"), 1);
    EXPECT_THAT(m_damage, HasSubstr("a StringStore record has a payload of 0 bytes instead of at least 4\n"));
}

TEST_F(BinaryWriterTest, MetricDescriptionsBeyondTheLimit) {
    const host::model::Attribute attribute(++m_lastId, host::model::HandleTexts("a"), nullptr,
                                           pwr::ATTRIBUTE_DATA);
    m_metric.m_attributeDescriptors.assign(16379, {&attribute, nullptr});  // 20 + 4 * 16379 = 65536
    addElement(entity("CPU"));
    const std::string file = run("description");
    EXPECT_THAT(file, HasSubstr(std::string("\x00\x00\x03", 3)));
    EXPECT_EQ(countOf(m_environment.infoLines(),
                      "0|Note: The binary trace has a metric with too many attributes and legend values. It "
                      "cannot be read beyond that metric's description\n"),
              1U);
    EXPECT_EQ(check("description.ztbin"), 1);
}

TEST_F(BinaryWriterTest, FileNamesAreCutTo1023Characters) {
    std::string folders;
    for (int i = 0; i < 510; ++i) folders += "./";
    EXPECT_EQ(m_writer.init(folders + "cut-here", false), 0);
    EXPECT_EQ(m_writer.writeMessage(m_system), 0);
    EXPECT_EQ(m_writer.fini(), 0);
    EXPECT_EQ(check("cut"), 0) << m_damage;
    EXPECT_EQ(m_environment.infoLines(), "0|Note: The name of the binary trace is cut to 1023 characters\n");
}

TEST_F(BinaryWriterTest, CallsOutOfOrder) {
    EXPECT_EQ(m_writer.fini(), 1);
    EXPECT_EQ(m_writer.writeMessage(m_system), 1);
    EXPECT_EQ(m_writer.writeMessage(m_metric), 1);
    EXPECT_FALSE(m_writer.flushContinuousResults(m_metadata));
    EXPECT_EQ(m_writer.init("first-name", false), 0);
    EXPECT_EQ(m_writer.init("second-name", true), 0);
    m_environment.m_logLevel = 2;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(m_writer.writeMessage(m_metric), 1);
    EXPECT_EQ(m_environment.infoLines(),
              "2|WARNING: Binary writer plugin got a metric before a system message\n");
    EXPECT_EQ(m_writer.writeMessage(m_system), 0);
    EXPECT_EQ(m_writer.fini(), 0);
    EXPECT_EQ(check("first-name.ztbin"), 0) << m_damage;
}

TEST_F(BinaryWriterTest, FlushGivesMemoryBack) {
    addElement(entity("CPU"));
    EXPECT_EQ(m_writer.init("memory", true), 0);
    EXPECT_EQ(m_writer.writeMessage(m_system), 0);
    EXPECT_EQ(m_writer.writeMessage(m_metric), 0);
    EXPECT_TRUE(m_writer.flushContinuousResults(m_metadata));
    const pwr::Logger* const handle = m_environment.getFileOutputHandle("memory_0.ztbin");
    EXPECT_EQ(handle->m_buffer.capacity(), 0U);
    EXPECT_EQ(handle->m_writeCount, 0U);
}

TEST_F(BinaryWriterTest, SamplesAllocateNothingInSteadyState) {
    for (unsigned i = 0; i < 16; ++i)
        addElement(entity("an entity with a long name " + std::to_string(i)), descriptor("state"));
    EXPECT_EQ(m_writer.init("steady", false), 0);
    EXPECT_EQ(m_writer.writeMessage(m_system), 0);
    for (int type = pwr::Metric::SAMPLED_DELTA; type <= pwr::Metric::TRACED_EVENT; ++type) {
        m_metric.m_metricType = static_cast<pwr::Metric::MetricType>(type);
        setMetricId();
        m_writer.writeMessage(m_metric);
        const std::size_t before = allocation_faults::count();
        constexpr unsigned MESSAGES = 10000;
        for (unsigned i = 0; i < MESSAGES; ++i) m_writer.writeMessage(m_metric);
        EXPECT_LT(allocation_faults::count() - before, MESSAGES / 100) << "type " << type;
    }
}

// Each allocation of a run fails in turn: whatever was reported as written is there, and the file is sound.
TEST_F(BinaryWriterTest, LackOfMemoryDamagesNothing) {
    host::model::Quantity power(++m_lastId);
    power.m_name = "a name that needs memory of its own";
    m_metric.m_quantity = &power;
    m_metric.m_legendValues.push_back(pwr::Data(std::string("a legend value that needs memory")));
    for (unsigned i = 0; i < 3; ++i) addElement(entity("CPU " + std::to_string(i)), descriptor("state"));
    bool failed = true;
    for (std::size_t n = 0; failed; ++n) {
        setMetricId();
        BinaryWriter writer;
        std::size_t written = 0;
        bool hasFile = false;
        const std::string name = "memory-" + std::to_string(n);  // a host's handle stays open for its name
        allocation_faults::failAfter(n);
        if (writer.init(name, false) == 0 && writer.writeMessage(m_system) == 0) {
            for (int i = 0; i < 2; ++i) written += writer.writeMessage(m_metric) == 0 ? 3 : 0;
            hasFile = writer.fini() == 0;
        }
        failed = allocation_faults::stop();
        if (hasFile) {
            EXPECT_EQ(check(name + ".ztbin"), 0) << n << ": " << m_damage;
            EXPECT_GE(countOf(m_records, "\"MetricData\""), written) << n;
        }
        std::remove((name + ".ztbin").c_str());
    }
}

}  // namespace
