// The writers over time when descriptors or room on the disk run out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/model/metric.h"
#include "host/model/system_metadata.h"
#include "overtime/phmwriter_text_plugin.h"
#include "overtime/raw_writer_v2.h"
#include "pwr/messages.h"
#include "tests/support/stream_runner.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const char* const DEFINITIONS = R"({"msg":"system","tscMHz":1000}
{"def":"entity","id":10,"name":"core0"}
{"def":"metric","id":1,"name":"First","type":"SAMPLED_VALUE"}
{"def":"metric","id":2,"name":"Second","type":"SAMPLED_VALUE"})";

std::string sample(int metric, int t, const std::string& text) {
    return R"({"msg":"metric","metric":)" + std::to_string(metric) + R"(,"t":)" + std::to_string(t) +
           R"(,"data":[{"e":10,"v":{"s":")" + text + R"("}}]})";
}

std::string contentOf(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::size_t temporaryFiles() {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator("."))
        count += entry.path().filename().string().starts_with("_" + std::to_string(getpid()));
    return count;
}

// Lowers a soft limit for as long as it lives.
class Limit {
public:
    Limit(__rlimit_resource resource, rlim_t value) : m_resource(resource) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(resource, &m_before);
        const rlimit lowered{value, m_before.rlim_max};
        setrlimit(resource, &lowered);
    }
    ~Limit() { setrlimit(m_resource, &m_before); }

private:
    __rlimit_resource m_resource;
    rlimit m_before{};
};

// The number that the next descriptor gets.
rlim_t nextDescriptor() {
    const int descriptor = dup(0);
    close(descriptor);
    return static_cast<rlim_t>(descriptor);
}

template <typename Writer>
class OverTimeFault : public testing::Test {
protected:
    OverTimeFault() {
        m_runner.m_environment.m_logLevel = 2;
        m_writer = std::make_unique<Writer>();
        m_runner.add(*m_writer);
    }
    ~OverTimeFault() override {
        m_writer.reset();
        EXPECT_EQ(temporaryFiles(), 0u);
        for (const char* name : {"run.txt", "run_trace.csv", "run_phm.csv", "run_meta_phm.csv"})
            fs::remove(name);
    }
    void feed(const std::string& lines) { ASSERT_TRUE(m_runner.feed(lines)) << m_runner.m_error; }
    static std::string result() {
        if (std::is_same_v<Writer, RawWriterV2>) return contentOf("run.txt");
        return contentOf(std::is_same_v<Writer, IntWriterV2> ? "run_trace.csv" : "run_phm.csv");
    }

    test::StreamRunner m_runner;
    std::unique_ptr<Writer> m_writer;
};

using Writers = testing::Types<RawWriterV2, IntWriterV2, PhmTextWriter>;
TYPED_TEST_SUITE(OverTimeFault, Writers);

TYPED_TEST(OverTimeFault, DropsATableThatGetsNoDescriptor) {
    this->m_runner.begin();
    this->feed(DEFINITIONS);
    this->feed(sample(1, 1000, "kept"));
    {
        const Limit noMore(RLIMIT_NOFILE, nextDescriptor());
        this->feed(sample(2, 2000, "dropped"));
        this->feed(sample(1, 3000, "also kept"));
    }
    this->feed(sample(2, 4000, "later"));
    this->m_runner.finish();
    EXPECT_THAT(this->result(), HasSubstr("kept"));
    EXPECT_THAT(this->result(), HasSubstr("also kept"));
    EXPECT_THAT(this->result(), HasSubstr("later"));
    EXPECT_THAT(this->result(), Not(HasSubstr("dropped")));
    EXPECT_THAT(this->m_runner.m_errorLog.text(),
                HasSubstr("ERROR: Failed to initialize temporary file ./_"));
    if (!std::is_same_v<TypeParam, PhmTextWriter>) {
        EXPECT_THAT(this->m_runner.m_infoLog.text(), HasSubstr("WARNING: Failed to initialize buffer.\n"));
    }
    EXPECT_THAT(this->m_runner.m_statuses, Not(IsEmpty()));
}

TYPED_TEST(OverTimeFault, KeepsTheRowsFromBeforeADiskThatIsFull) {
    this->m_runner.begin();
    this->feed(DEFINITIONS);
    this->feed(sample(2, 500, "small"));
    const std::string text(60000, 'x');
    {
        const Limit full(RLIMIT_FSIZE, 100000);
        for (int t = 1; t <= 20; ++t) this->feed(sample(1, t * 1000, text));
    }
    this->m_runner.finish();
    EXPECT_THAT(this->m_runner.m_infoLog.m_stream.str(),
                HasSubstr("2WARNING: write error while flushing to disk!\n: errnum=27: "));
    EXPECT_THAT(this->m_runner.m_errorLog.text(), HasSubstr("ERROR: Could not spool the rows of \"First"));
    const std::string result = this->result();
    EXPECT_THAT(result, HasSubstr(text));
    EXPECT_THAT(result, HasSubstr("small"));
    // Every row that is there is whole.
    std::istringstream lines(result);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("xx") == std::string::npos) continue;
        EXPECT_THAT(line, HasSubstr(text));
        EXPECT_EQ(line.substr(line.size() - 6), "xxxxxx");
    }
    EXPECT_THAT(this->m_runner.m_statuses, testing::Contains(HasSubstr("fini,1")));
}

// The window takes rows until it is full, and gets no room after it.
TEST(RowStoreFault, KeepsEveryRowThatTheWindowHasRoomFor) {
    constexpr std::size_t ROW_LENGTH = 4 + 7 + 5;
    constexpr std::size_t ROWS_IN_WINDOW = pwr::ZTExtensibleBackingStore::WINDOW_LIMIT / ROW_LENGTH;
    test::StreamRunner runner;
    for (const std::size_t longest : {7u, 100u}) {
        SCOPED_TRACE(longest);
        BackingStoreWrapper table("Title", "n/a");
        table.addColumn("");
        {
            // The first row moves the others against the window's end.
            const Limit full(RLIMIT_FSIZE, 0);
            table.pushCell(std::string(longest, 'y'), 0);
            for (std::size_t row = 0; row < ROWS_IN_WINDOW + 1000; ++row) {
                table.rowComplete();
                table.pushCell("xxxxxxx", 0);
            }
        }
        EXPECT_FALSE(table.isComplete());
        std::FILE* const file = std::tmpfile();
        table.flush(file, ",", false);
        EXPECT_THAT(runner.m_errorLog.text(), Not(HasSubstr("Could not read")));
        const auto printed = static_cast<std::size_t>(std::ftell(file));
        std::fclose(file);
        const std::size_t rows = (pwr::ZTExtensibleBackingStore::WINDOW_LIMIT - longest - 9) / ROW_LENGTH + 1;
        EXPECT_EQ(printed, 6 + longest + 1 + rows * (longest + 1) + 1);
    }
}

// Somebody has cut the spooled rows: those before the cut are printed, and the line gives a reason where the
// system has none.
TEST(RowStoreFault, TellsOfRowsThatAreGone) {
    test::StreamRunner runner;
    runner.m_environment.m_logLevel = 1;
    const std::string text(100000, 'x');
    BackingStoreWrapper table("Title\nsecond line", "n/a");
    table.addColumn("");
    for (int row = 0; row < 30; ++row) {
        table.pushCell(text, 0);
        table.rowComplete();
    }
    std::string path;
    for (const auto& entry : fs::directory_iterator("."))
        if (entry.path().filename().string().starts_with("_" + std::to_string(getpid()))) path = entry.path();
    fs::resize_file(path, 500000);
    std::FILE* const file = std::tmpfile();
    table.flush(file, ",", false);
    std::fclose(file);
    EXPECT_FALSE(table.isComplete());
    EXPECT_EQ(runner.m_errorLog.text(),
              "ERROR: Could not read all rows of \"Title\" from " + path + ": Input/output error\n");
}

TYPED_TEST(OverTimeFault, TellsWhenTheResultDoesNotFit) {
    this->m_runner.begin();
    this->feed(DEFINITIONS);
    // More than is gathered before it is written, so that it is not closing that fails.
    for (int t = 1; t <= 2000; ++t) this->feed(sample(1, t * 1000, "text"));
    {
        const Limit full(RLIMIT_FSIZE, 700);
        this->m_runner.finish();
    }
    EXPECT_THAT(this->m_runner.m_errorLog.text(),
                testing::MatchesRegex("ERROR: Could not complete run[a-z_.]*: File too large\n"));
    EXPECT_THAT(this->m_runner.m_statuses, testing::Contains(HasSubstr("fini,1")));
}

TYPED_TEST(OverTimeFault, SurvivesTheLossOfItsOutputFolder) {
    fs::create_directory("folder");
    this->m_runner.begin("folder/run");
    this->feed(DEFINITIONS);
    this->feed(sample(1, 1000, "text"));
    fs::remove_all("folder");
    this->m_runner.finish();
    EXPECT_FALSE(fs::exists("folder"));
    if (std::is_same_v<TypeParam, PhmTextWriter>) {
        EXPECT_EQ(this->m_runner.m_infoLog.text(),
                  "WARNING: Could not create folder/run_meta_phm.csv\n"
                  "WARNING: PHM writer plugin could not flush metadata file\n");
    }
}

TEST(PhmFault, TellsWhenGroupsShareAFile) {
    test::StreamRunner runner;
    PhmTextWriter writer;
    runner.add(writer);
    runner.begin();
    std::string stream = R"({"msg":"system","tscMHz":1000}
{"def":"entity","id":10,"name":"core0"})";
    int id = 0;
    for (const char* group : {"Power", "META", "other", "pmt-power"}) {
        ++id;
        stream += "\n{\"def\":\"metric\",\"id\":" + std::to_string(id) +
                  R"(,"name":"M","type":"SAMPLED_VALUE","group":")" + group + "\"}\n" +
                  sample(id, 1000, group);
    }
    ASSERT_TRUE(runner.feed(stream)) << runner.m_error;
    runner.finish();
    EXPECT_EQ(runner.m_errorLog.text(),
              "ERROR: PHM group \"META\" overwrites the metadata in run_meta_phm.csv\n"
              "ERROR: PHM group \"pmt-power\" overwrites group \"Power\" in run_power_phm.csv\n");
    EXPECT_THAT(runner.m_statuses, IsEmpty());
    EXPECT_THAT(contentOf("run_power_phm.csv"), HasSubstr("pmt-power"));
    for (const char* name : {"run_meta_phm.csv", "run_power_phm.csv", "run_other_phm.csv"})
        EXPECT_TRUE(fs::remove(name)) << name;
}

TEST(PhmFault, TellsWhenTheMetadataDoNotFit) {
    test::StreamRunner runner;
    PhmTextWriter writer;
    runner.add(writer);
    runner.begin();
    const std::string legend(1000, 'x');
    ASSERT_TRUE(runner.feed(R"({"msg":"system","tscMHz":1000}
{"def":"entity","id":10,"name":"core0"}
{"def":"metric","id":1,"name":"M","type":"SAMPLED_VALUE","legend":[{"s":")" +
                            legend + "\"}]}\n" + sample(1, 1000, "text")))
        << runner.m_error;
    {
        const Limit full(RLIMIT_FSIZE, 700);
        runner.finish();
    }
    EXPECT_EQ(runner.m_errorLog.text(), "ERROR: Could not complete run_meta_phm.csv: File too large\n");
    EXPECT_THAT(runner.m_statuses, ElementsAre(HasSubstr("fini,1")));
    EXPECT_THAT(contentOf("run_phm.csv"), HasSubstr("text"));
    for (const char* name : {"run_phm.csv", "run_meta_phm.csv"}) EXPECT_TRUE(fs::remove(name)) << name;
}

// The tables of a metric lie in the file of the group that it had last.
TEST(PhmGroups, AreThoseOfTheLatestMessage) {
    for (const char* name : {"run_first_phm.csv", "run_second_phm.csv"}) fs::remove(name);
    test::StreamRunner runner;
    PhmTextWriter writer;
    writer.init("run", false);
    host::model::SystemMetadata metadata;
    metadata.m_tscFrequency = 1000.0F;
    pwr::SystemMessage system;
    system.m_metadata = &metadata;
    writer.writeMessage(system);
    const host::model::Entity entity(1, host::model::HandleTexts("core0"), "core0", 1, nullptr);
    host::model::Element element;
    element.m_entity = &entity;
    pwr::Metric::Sample sample{1000, {&element}};
    host::model::Metric metric;
    metric.m_sample = &sample;
    metric.m_name = "M";
    for (const pwr::Metric::MetricType type : {pwr::Metric::SAMPLED_VALUE, pwr::Metric::TRACED_EVENT}) {
        metric.m_metricType = type;
        ++metric.m_id;
        for (const char* group : {"first", "second", ""}) {
            metric.m_groupName = group;
            element.m_value.setString(std::string("in ") + group);
            writer.writeMessage(metric);
            ++sample.timestamp;
        }
    }
    EXPECT_EQ(writer.fini(), 0);
    EXPECT_FALSE(fs::exists("run_first_phm.csv"));
    EXPECT_FALSE(fs::exists("run_second_phm.csv"));
    for (const char* text : {"in first", "in second"}) EXPECT_THAT(contentOf("run_phm.csv"), HasSubstr(text));
    for (const char* name : {"run_phm.csv", "run_meta_phm.csv"}) EXPECT_TRUE(fs::remove(name)) << name;
}

TYPED_TEST(OverTimeFault, RefusesToFinishWhatNeverBegan) {
    if (std::is_same_v<TypeParam, PhmTextWriter>) return;
    pwr::TextMessage text;
    text.m_text = "for no file";
    EXPECT_EQ(this->m_writer->writeMessage(text), 0);
    EXPECT_EQ(this->m_writer->fini(), 1);
    EXPECT_EQ(this->m_runner.m_infoLog.text(), "WARNING: Output file  does not exist\n");
}

}  // namespace
