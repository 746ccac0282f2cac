#include "summary/summarywriter_plugin.h"

#include <fcntl.h>
#include <unistd.h>

#include "plugins/writer_plugin_capability.h"
#include "tests/binary/allocation_faults.h"
#include "tests/summary/summary_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::vector<std::string> COLUMNS = {"Name", "Value"};

class SummaryWriterTest : public SummaryFixture {};

std::string tableText(const std::string& title) {
    return title + "\nName, Value\nName, Value\n----, -----\na   , 1    \n\n";
}

TEST_F(SummaryWriterTest, HasOneCapability) {
    const SummaryWriter writer;
    ASSERT_EQ(writer.m_capabilities.size(), 1U);
    const auto& capability = dynamic_cast<const pwr::WriterPluginCapability&>(*writer.m_capabilities[0]);
    EXPECT_EQ(writer.m_id, "108d88ba-5ee4-11e4-aa15-123b93f75cba");
    EXPECT_EQ(capability.m_name, "sum");
    EXPECT_EQ(capability.m_description,
              "Write summary reports for all collected metrics to CSV file [default]");
    EXPECT_EQ(capability.m_extension, ".csv");
    EXPECT_THAT(capability.m_tableClasses, ElementsAre(pwr::TABLE_CLASS_SUMMARY));
    EXPECT_EQ(capability.m_flags, 0);
    EXPECT_EQ(capability.m_owner, &writer);
}

TEST_F(SummaryWriterTest, NeedsAReport) {
    m_environment.m_logLevel = 2;
    SummaryWriter writer;
    EXPECT_EQ(writer.fini(), 1);
    EXPECT_EQ(writer.init("no/such/folder/run", false), 1);
    EXPECT_THAT(m_infos.m_lines, ElementsAre("WARNING: Output file does not exist!\n",
                                             "WARNING: Could not create no/such/folder/run.csv\n"));
}

TEST_F(SummaryWriterTest, TheEngineNeedsAnOrder) {
    m_environment.m_conditionalTags.insert("text-writer-plugin");
    TextWriterImpl engine(", ", ".csv");
    ASSERT_EQ(engine.init("run"), 0);
    EXPECT_EQ(engine.fini(), 1);
    EXPECT_THAT(m_infos.m_lines,
                ElementsAre("WARNING: Metric ordering information does not exist. Cannot proceed!\n"));
}

// Tables beyond the limit of open files are lost, the others are whole.
TEST_F(SummaryWriterTest, RunsOutOfOpenFiles) {
    constexpr std::uint32_t tables = 300;
    m_environment.m_logLevel = 2;
    SummaryWriter writer;
    ASSERT_EQ(writer.init("run", false), 0);
    std::vector<TableFixture> fixtures;
    {
        const ScopedLimit limit(RLIMIT_NOFILE, 64);
        for (std::uint32_t i = 0; i < tables; ++i) {
            fixtures.emplace_back(1 + i / 10, i, "table " + std::to_string(i), COLUMNS);
            EXPECT_EQ(writer.writeMessage(fixtures[i].row({"a", "1"})), 0);
        }
        EXPECT_EQ(writer.fini(), 0);
    }
    const std::size_t stored = tempFiles().size();
    ASSERT_GT(stored, 40U);
    ASSERT_LT(stored, tables);
    std::string expected;
    for (std::uint32_t i = 0; i < tables; ++i) {
        const std::string title = "table " + std::to_string(i);
        expected += i < stored ? tableText(title) : title + "\n\n";
    }
    EXPECT_EQ(contentOf("run.csv"), expected);
    EXPECT_THAT(m_errors.m_lines,
                ElementsAre(StartsWith("Warning: Could not post process metric data: Too many open file")));
    EXPECT_EQ(m_infos.m_lines.size(), tables - stored);
}

// A report that the disk can't take is told with its name and the reason.
TEST_F(SummaryWriterTest, TellsOfAReportCutShort) {
    SummaryWriter writer;
    ASSERT_EQ(writer.init("run", false), 0);
    TableFixture table(1, 1, "table", COLUMNS);
    for (int i = 0; i < 100; ++i) EXPECT_EQ(writer.writeMessage(table.row({"a", "1"})), 0);
    const std::uintmax_t whole = 6 + 12 * 103 + 1;
    for (const rlim_t room : {rlim_t{0}, rlim_t{100}, rlim_t{whole - 1}}) {
        SummaryWriter again;
        ASSERT_EQ(again.init("cut", false), 0);
        for (int i = 0; i < 100; ++i) EXPECT_EQ(again.writeMessage(table.row({"a", "1"})), 0);
        m_errors.m_lines.clear();
        const ScopedLimit limit(RLIMIT_FSIZE, room);
        again.fini();
        EXPECT_THAT(m_errors.m_lines, ElementsAre("ERROR: Could not complete cut.csv: File too large\n"));
    }
    m_errors.m_lines.clear();
    EXPECT_EQ(writer.fini(), 0);
    EXPECT_THAT(m_errors.m_lines, IsEmpty());
    EXPECT_EQ(std::filesystem::file_size("run.csv"), whole);
}

TEST_F(SummaryWriterTest, FailsMessagesWhoseCellsAreLost) {
    SummaryWriter writer;
    ASSERT_EQ(writer.init("run", false), 0);
    TableFixture table(1, 1, "table", COLUMNS);
    EXPECT_EQ(writer.writeMessage(table.row({"a", "1"})), 0);
    {
        const ScopedLimit limit(RLIMIT_FSIZE, contentOf(tempFiles().at(0)).size());
        EXPECT_EQ(writer.writeMessage(table.row({"lost", "2"})), 1);
    }
    EXPECT_EQ(writer.writeMessage(table.row({"late", "3"})), 1);
    EXPECT_EQ(writer.fini(), 0);
    EXPECT_EQ(contentOf("run.csv"), tableText("table"));
    EXPECT_THAT(m_errors.m_lines, ElementsAre(HasSubstr("table: table, error: errnum=27: File too large")));
}

// A run that never ends leaves nothing but the empty report.
// Only announcements are no rows.
TEST_F(SummaryWriterTest, TakesOtherTypesOfTableMessagesAsRows) {
    SummaryWriter writer;
    ASSERT_EQ(writer.init("run", false), 0);
    TableFixture table(1, 1, "title", COLUMNS);
    EXPECT_EQ(writer.writeMessage(table.announcement()), 0);
    EXPECT_EQ(writer.writeMessage(table.row({"a", "1"}, 2)), 0);
    EXPECT_EQ(writer.fini(), 0);
    EXPECT_EQ(contentOf("run.csv"), tableText("title"));
}

// A report that has no sections of its own for texts files them under their ids.
TEST_F(SummaryWriterTest, FilesOtherTextsByTheirIds) {
    SummaryWriter writer;
    ASSERT_EQ(writer.init("run", false), 0);
    pwr::TextMessage message;
    message.m_id = 3;
    message.m_text = "of three";
    EXPECT_EQ(writer.TextWriter::writeMessage(message), 0);
    message.m_text = "and more";
    EXPECT_EQ(writer.TextWriter::writeMessage(message), 0);
    EXPECT_EQ(writer.writeMessage(TableFixture(0, 3, "title", COLUMNS).row({"a", "1"})), 0);
    EXPECT_EQ(writer.fini(), 0);
    EXPECT_EQ(contentOf("run.csv"), "\nof three\nand more\na       \n1       \n\n");
}

// Each allocation of a row fails in turn: the row may be cut, but no later cell stands under a wrong column.
TEST_F(SummaryWriterTest, ALackOfMemoryMovesNoCell) {
    const auto cellsOf = [](const std::string& row) -> std::vector<std::string> {
        return {"first cell of row " + row, "second cell of row " + row, "third cell of row " + row};
    };
    bool failed = true;
    for (std::size_t n = 0; failed; ++n) {
        SCOPED_TRACE(n);
        TableFixture table(1, 1, "title", {"A", "B", "C"});
        SummaryWriter writer;
        ASSERT_EQ(writer.init("run", false), 0);
        ASSERT_EQ(writer.writeMessage(table.row(cellsOf("1"))), 0);
        const pwr::TableMessage& row = table.row(cellsOf("2"));
        allocation_faults::failAfter(n);
        const int status = writer.writeMessage(row);
        failed = allocation_faults::stop();
        EXPECT_LE(status, failed ? 1 : 0);
        writer.writeMessage(table.row(cellsOf("3")));
        EXPECT_EQ(writer.fini(), 0);
        std::istringstream report(contentOf("run.csv"));
        std::size_t rows = 0;
        for (std::string line; std::getline(report, line);) {
            if (line.find(" cell of row ") == std::string::npos) continue;
            ++rows;
            EXPECT_THAT(line, StartsWith("first cell of row "));
            const std::size_t second = line.find(", second cell of row " + line.substr(18, 1));
            EXPECT_EQ(second == std::string::npos, line.find("second") == std::string::npos) << line;
        }
        EXPECT_GE(rows, failed ? 1U : 3U);
    }
}

TEST_F(SummaryWriterTest, CleansUpWithoutFini) {
    {
        SummaryWriter writer;
        ASSERT_EQ(writer.init("run", false), 0);
        TableFixture table(1, 1, "table", COLUMNS);
        EXPECT_EQ(writer.writeMessage(table.announcement()), 0);
        EXPECT_EQ(tempFiles().size(), 1U);
    }
    EXPECT_THAT(tempFiles(), IsEmpty());
    EXPECT_EQ(contentOf("run.csv"), "");
}

TEST_F(SummaryWriterTest, RefusesAFalseHeaderText) {
    class FalseHeader : public pwr::TextMessage {
    public:
        std::uint8_t getMessageType() const override { return pwr::MESSAGE_HEADER_TEXT; }
    };
    SummaryWriter writer;
    EXPECT_THROW(writer.writeMessage(FalseHeader()), std::bad_cast);
}

}  // namespace
