#include "summary/autowriter_plugin.h"

#include <sys/wait.h>
#include <unistd.h>

#include "host/model/quantity.h"
#include "host/model/system_metadata.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/messages.h"
#include "tests/summary/summary_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const char* const FILE_NAME = "Automation_Summary.csv";

class AutoWriterTest : public SummaryFixture {
protected:
    // Makes a run of the given tables' rows and returns the status of fini.
    static int run(const std::string& outputName, const std::vector<const pwr::TableMessage*>& messages) {
        AutoWriter writer;
        EXPECT_EQ(writer.init(outputName, false), 0);
        for (const pwr::TableMessage* message : messages) EXPECT_EQ(writer.writeMessage(*message), 0);
        return writer.fini();
    }
};

TEST_F(AutoWriterTest, HasOneCapability) {
    const AutoWriter writer;
    ASSERT_EQ(writer.m_capabilities.size(), 1U);
    const auto& capability = dynamic_cast<const pwr::WriterPluginCapability&>(*writer.m_capabilities[0]);
    EXPECT_EQ(writer.m_id, "894d2fa0-61c8-11e7-9598-0800200c9a66");
    EXPECT_EQ(capability.m_name, "auto");
    EXPECT_EQ(capability.m_description, "Write summary data as single line to file Automation_Summary.csv");
    EXPECT_EQ(capability.m_extension, ".csv");
    EXPECT_THAT(capability.m_tableClasses, IsEmpty());
    EXPECT_EQ(capability.m_flags, 0);
}

// Which columns key a row: title, titles and cells of one row, and the columns that it adds.
TEST_F(AutoWriterTest, ChoosesKeyColumnsByTitle) {
    const struct {
        std::string title;
        std::vector<std::string> columns;
        std::vector<std::string> cells;
        std::string names;
        std::string values;
    } cases[] = {
        {"X", {"K", "A", "B"}, {"k", "1", "2"}, "X_K_k_A,X_K_k_B,", "1,2,"},
        {"X", {"", "A"}, {"k", "1"}, "X_k_A,", "1,"},
        {"X", {"", "A"}, {"", "1"}, "X__A,", "1,"},
        {"X", {"K"}, {"k"}, "", ""},
        {"X", {}, {}, "", ""},
        {"X", {"Total", "A"}, {"k", "1"}, "", ""},
        {"X", {"", "A"}, {"Total_C", "1"}, "", ""},
        {"X", {"", "A"}, {"Total", "1"}, "X_Total_A,", "1,"},
        {"P Summary: Total (ms)", {"", "L", "A"}, {"", "l", "1"}, "P Summary: Total (ms)_L_l_A,", "1,"},
        {"P Summary: Total", {"K", "", "A"}, {"k", "l", "1"}, "P Summary: Total_K_k_l_A,", "1,"},
        {"P Summary: Total", {}, {}, "", ""},
        {"P Summary: Average Rate and Total",
         {"K", "R", "T"},
         {"k", "1", "2"},
         "P Summary: Average Rate and Total_K_k_R,P Summary: Average Rate and Total_K_k_T,",
         "1,2,"},
        {"P Summary: Average Rate and Total",
         {"R", "T"},
         {"1", "2"},
         "P Summary: Average Rate and Total__R,P Summary: Average Rate and Total__T,",
         "1,2,"},
        {"P Summary: Average Rate and Total", {"T"}, {"2"}, "P Summary: Average Rate and Total__T,", "2,"},
        {"ACPI D-State Summary: Residency (Percentage and Time)",
         {"A", "B", "C", "D", "E"},
         {"1", "2", "3", "4", "5"},
         "ACPI D-State Summary: Residency (Percentage and Time)_A_1_B_2_C_3_D_4_E,",
         "5,"},
        {"ACPI F-State Summary: Residency (Percentage and Time)", {"A", "B", "C"}, {"1", "2", "3"}, "", ""},
        // Of two rules that fit, the first holds; what is to be ignored is, whatever else fits.
        {"P Summary: Total Summary: Average Rate and Total",
         {"K", "R", "T"},
         {"k", "1", "2"},
         "P Summary: Total Summary: Average Rate and Total_K_k_R,P Summary: Total Summary: Average Rate and "
         "Total_K_k_T,",
         "1,2,"},
        {"Summary: Total, ACPI F-State Summary: Residency (Percentage and Time)",
         {"A", "B", "C", "D", "E", "F"},
         {"1", "2", "3", "4", "5", "6"},
         "Summary: Total, ACPI F-State Summary: Residency (Percentage and Time)_A_1_B_2_C_3_D_4_E,Summary: "
         "Total, "
         "ACPI F-State Summary: Residency (Percentage and Time)_A_1_B_2_C_3_D_4_F,",
         "5,6,"},
        {"P Summary: Counts Summary: Total", {"K", "A"}, {"k", "1"}, "", ""},
        {"Summary: Entry Counts", {"K", "A"}, {"k", "1"}, "", ""},
        {"P Summary: Total Samples Received", {"K", "A"}, {"k", "1"}, "", ""},
        {"P Summary - Sampled: Total Samples Received", {"K", "A"}, {"k", "1"}, "", ""},
        {"X", {"K", "A,B"}, {"k,l", "\"1\""}, "X_K_k,l_A,B,", "\"1\","},
    };
    for (const auto& test : cases) {
        std::filesystem::remove(FILE_NAME);
        TableFixture table(1, 1, test.title, test.columns);
        EXPECT_EQ(run("o", {&table.announcement(), &table.row(test.cells)}), 0);
        EXPECT_EQ(contentOf(FILE_NAME), "Output_Name," + test.names + "\no," + test.values + "\n");
    }
}

TEST_F(AutoWriterTest, KeepsNothingOfARowThatDoesNotFit) {
    m_environment.m_logLevel = 4;
    TableFixture narrow(1, 1, "narrow", {"K"});
    TableFixture wide(1, 2, "wide", {"K", "A"});
    AutoWriter writer;
    EXPECT_EQ(writer.init("o", false), 0);
    EXPECT_EQ(writer.writeMessage(wide.announcement()), 0);
    EXPECT_EQ(writer.writeMessage(wide.row({"k", "1"})), 0);
    EXPECT_EQ(writer.writeMessage(narrow.announcement()), 0);
    m_infos.m_lines.clear();
    EXPECT_EQ(writer.writeMessage(wide.row({"l", "2"})), 1);
    EXPECT_THAT(m_infos.m_lines,
                ElementsAre("DEBUG: AutoWriter::writeMessage(wide)\n", "DEBUG:  \t value = (l)\n",
                            "DEBUG:  \t value = (2)\n", "INFO: Error in TableMessage wide\n"));
    EXPECT_EQ(writer.fini(), 0);
    EXPECT_EQ(contentOf(FILE_NAME), "Output_Name,wide_K_k_A,\no,1,\n");
}

TEST_F(AutoWriterTest, TakesNoOtherTypesOfTableMessages) {
    TableFixture table(1, 1, "title", {"K", "A"});
    EXPECT_EQ(run("o", {&table.announcement(), &table.row({"k", "1"}, 2)}), 0);
    EXPECT_EQ(contentOf(FILE_NAME), "Output_Name,\no,\n");
}

// A title of an entity's field gets the entity's field name in front where it does not hold it.
TEST_F(AutoWriterTest, NamesTheFieldsOfEntities) {
    host::model::Quantity percent(1);
    percent.m_kind = pwr::QuantityType{4};
    percent.m_units = "%";
    host::model::HandleTexts texts("Core 0");
    texts.m_fieldName = "Pkg/Core 0";
    const host::model::AttributeEntity core(5, texts, "qualified", pwr::HANDLE_ATTRIBUTE, nullptr, &percent);
    const host::model::Entity plain(6, host::model::HandleTexts("Core 1"), "qualified", 1, nullptr);
    const host::model::Handle shared(7, host::model::HandleTexts("State"), 1);
    const host::model::Handle time(8, host::model::HandleTexts("Time of Core 1"), 1);
    const host::model::Handle load(9, host::model::HandleTexts("Load"), 1);

    const auto titlesOf = [&](std::vector<const pwr::DataHandle*> handles) {
        host::model::TableColumns columns;
        columns.m_shared = {&shared, nullptr};
        columns.m_handles = std::move(handles);
        columns.m_entities = {&plain, &core};
        columns.index();
        const host::model::Table table(std::move(columns));
        std::deque<std::string> titles = {"before"};
        AutoWriter().getColumnTitles(table.m_announcement, titles);
        return titles;
    };
    EXPECT_THAT(titlesOf({&load}), ElementsAre("before", "State", "", "Pkg/Core 0_Core 0%", "Core 1"));
    EXPECT_THAT(titlesOf({&time, &load}), ElementsAre("before", "State", "", "Pkg/Core 0_Time of Core 1%",
                                                      "Pkg/Core 0_Load%", "Time of Core 1", "Core 1_Load"));
}

TEST_F(AutoWriterTest, TakesContainersAndTheSystem) {
    host::model::SystemMetadata metadata;
    metadata.m_startTime = "today";
    metadata.m_duration = 2.5;
    pwr::SystemMessage system;
    system.m_metadata = &metadata;
    TableFixture table(1, 1, "info", {"K", "A"});
    pwr::MetricContainerInfoMessage container;

    AutoWriter writer;
    EXPECT_EQ(writer.init("o", true), 0);
    EXPECT_EQ(writer.writeMessage(system), 0);
    EXPECT_EQ(writer.writeMessage(container), 0);
    container.m_infoTable = &table.announcement();
    EXPECT_EQ(writer.writeMessage(container), 0);
    container.m_infoTable = &table.row({"k", "1"});
    EXPECT_EQ(writer.writeMessage(container), 0);
    EXPECT_EQ(writer.fini(), 0);
    EXPECT_EQ(contentOf(FILE_NAME),
              "Output_Name,Collection_Time,Duration (sec),info_K_k_A,\no,today,2.5,1,\n");
}

TEST_F(AutoWriterTest, PutsTheFileBesideABackslashOnly) {
    EXPECT_EQ(run("a\\b\\run", {}), 0);
    EXPECT_EQ(run("folder/run", {}), 0);
    EXPECT_EQ(contentOf("a\\b\\Automation_Summary.csv"), "Output_Name,\na\\b\\run,\n");
    EXPECT_EQ(contentOf(FILE_NAME), "Output_Name,\nfolder/run,\n");
}

TEST_F(AutoWriterTest, ComparesWithTheLastHeader) {
    const std::string other = "Output_Name,x,\n";
    const std::string own = "Output_Name,\n";
    const struct {
        std::string before;
        bool addsHeader;
    } cases[] = {
        {"", true},
        {own, false},
        {own + "a,\n", false},
        {other + "a,1,\n", true},
        {other + own, false},
        {own + other, true},
        {"Output_Name\n", true},
        {"Output_Name,\r\n", true},
        {" " + own, true},
        {own + "Output_Name is my run,\n", true},
    };
    for (const auto& test : cases) {
        std::ofstream(FILE_NAME) << test.before;
        EXPECT_EQ(run("o", {}), 0);
        EXPECT_EQ(contentOf(FILE_NAME), test.before + (test.addsHeader ? own : "") + "o,\n") << test.before;
    }
}

// Runs that end at the same time put each line under a header of its own columns.
TEST_F(AutoWriterTest, SharesTheFileWithOtherProcesses) {
    constexpr int RUNS = 500;
    TableFixture narrow(1, 1, "X", {"K", "A"});
    TableFixture wide(1, 1, "X", {"K", "A", "B"});
    std::string earlier = "Output_Name,X_K_k_A,\n";  // what takes a while to be read
    for (int i = 0; i < 5000; ++i) earlier += "o,1,\n";
    std::ofstream(FILE_NAME) << earlier;
    int start[2];
    ASSERT_EQ(pipe(start), 0);
    std::vector<pid_t> children;
    for (const bool isWide : {false, true, false, true}) {
        children.push_back(fork());
        if (children.back() != 0) continue;
        close(start[1]);
        char none = 0;
        int failures = static_cast<int>(read(start[0], &none, 1));
        for (int i = 0; i < RUNS; ++i)
            failures += isWide ? run("o", {&wide.announcement(), &wide.row({"k", "1", "2"})})
                               : run("o", {&narrow.announcement(), &narrow.row({"k", "1"})});
        _exit(failures);
    }
    close(start[1]);
    close(start[0]);
    for (const pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    std::ifstream file(FILE_NAME);
    std::string line;
    std::string header;
    std::size_t lines = 0;
    while (std::getline(file, line)) {
        if (line.starts_with("Output_Name")) {
            header = line;
            continue;
        }
        ++lines;
        EXPECT_EQ(line, header == "Output_Name,X_K_k_A," ? "o,1," : "o,1,2,") << header;
    }
    EXPECT_EQ(lines, 5000 + RUNS * children.size());
}

TEST_F(AutoWriterTest, ReportsAFileThatItCannotOpen) {
    std::filesystem::create_directory(FILE_NAME);
    EXPECT_EQ(run("o", {}), 1);
    EXPECT_THAT(m_errors.m_lines, ElementsAre("ERROR: Could not open automation summary file.\n"));
}

// On a full disk the run is lost, but not what others have put into the file.
TEST_F(AutoWriterTest, TakesBackAPartialLine) {
    const std::string before = "Output_Name,x,\na,1,\n";
    for (rlim_t room = 0; room < 14; ++room) {
        std::ofstream(FILE_NAME) << before;
        m_errors.m_lines.clear();
        {
            const ScopedLimit limit(RLIMIT_FSIZE, before.size() + room);
            EXPECT_EQ(run("o", {}), 1);
        }
        EXPECT_EQ(contentOf(FILE_NAME), before);
        EXPECT_THAT(m_errors.m_lines,
                    ElementsAre("ERROR: Could not complete Automation_Summary.csv: File too large\n"));
    }
}

}  // namespace
