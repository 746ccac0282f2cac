#include "summary/temp_file_manager.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "summary/cell_printer.h"
#include "summary/cell_reader.h"
#include "tests/summary/summary_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class TempFileManagerTest : public SummaryFixture {
protected:
    // Replays into a file, as the engine does, and keeps what came out.
    int flush(TempFileManager& manager, const std::string& delimiter = ", ") {
        const FilePtr output(std::fopen("report", "wb"));
        const int status = manager.flush(output.get(), delimiter);
        std::fflush(output.get());
        m_report = contentOf("report");
        return status;
    }

    static void push(TempFileManager& manager, const std::vector<std::string>& cells, int columns) {
        for (std::size_t i = 0; i < cells.size(); ++i)
            EXPECT_EQ(manager.pushString(nullptr, cells[i], static_cast<int>(i) % columns), 0);
    }

    std::string m_report;
};

TEST_F(TempFileManagerTest, PadsCellsToTheirColumns) {
    const std::string longCell(1000, 'x');
    const struct {
        const char* what;
        int columns;
        std::vector<std::string> cells;
        const char* delimiter;
        std::string expected;
    } cases[] = {
        {"two rows", 3, {"a", "bbb", "cc", "dddd", "e", "f"}, ", ", "T\na   , bbb, cc\ndddd, e  , f \n\n"},
        {"one column", 1, {"ab", "c"}, ", ", "T\nab\nc \n\n"},
        {"no cells", 2, {}, ", ", "T\n\n"},
        {"empty cells", 3, {"", "x", "", "", "", ""}, "|", "T\n|x|\n| |\n\n"},
        {"bytes, not characters", 2, {"\xc3\xa9", "1", "abc", "2"}, ";", "T\n\xc3\xa9 ;1\nabc;2\n\n"},
        {"longer than the buffer", 2, {longCell, "1"}, ",", "T\n" + longCell + ",1\n\n"},
        {"a zero byte",
         2,
         {std::string("a\0b", 3), "1", "x", "2"},
         ",",
         std::string("T\na\0b,1\nx  ,2\n\n", 15)},
        {"no delimiter", 2, {"a", "b"}, "", "T\nab\n\n"},
        {"a line break in a cell", 2, {"a\nb", "c", "d", "e"}, ",", "T\na\nb,c\nd  ,e\n\n"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        TempFileManager manager(test.columns);
        manager.setTitle("T");
        push(manager, test.cells, test.columns);
        EXPECT_EQ(flush(manager, test.delimiter), 0);
        EXPECT_EQ(m_report, test.expected);
    }
}

// Cells of every length around the buffer's end, its doublings and a read of several cells.
TEST_F(TempFileManagerTest, ReplaysCellsAcrossTheEndOfTheBuffer) {
    for (const std::size_t center : {256U, 512U, 4096U}) {
        for (std::size_t length = center - 12; length <= center + 4; ++length) {
            TempFileManager manager(1);
            std::string expected = "\n";
            for (std::size_t i = 0; i < 40; ++i) {
                const std::string cell(i % 2 == 0 ? length : i, static_cast<char>('a' + i % 26));
                ASSERT_EQ(manager.pushString(nullptr, cell, 0), 0);
                expected += cell + std::string(length - cell.size(), ' ') + "\n";
            }
            ASSERT_EQ(flush(manager), 0);
            ASSERT_EQ(m_report, expected + "\n") << length;
        }
    }
}

TEST_F(TempFileManagerTest, ReplaysAHugeCell) {
    TempFileManager manager(2);
    const std::string huge(1 << 20, 'h');
    push(manager, {huge, "x", "small", "y"}, 2);
    EXPECT_EQ(flush(manager), 0);
    EXPECT_EQ(m_report, "\n" + huge + ", x\nsmall" + std::string(huge.size() - 5, ' ') + ", y\n\n");
}

TEST_F(TempFileManagerTest, StoresEachCellAtOnceAndRemovesItsFiles) {
    const host::model::Entity second(20, host::model::HandleTexts("second"), "second", 1, nullptr);
    const host::model::Entity first(3, host::model::HandleTexts("first"), "first", 1, nullptr);
    std::string base;
    {
        TempFileManager manager(2);
        const TempFileManager other(2);
        ASSERT_THAT(tempFiles(), SizeIs(2));
        base = std::min(tempFiles()[0], tempFiles()[1], [](const std::string& a, const std::string& b) {
            return std::stoi(a.substr(6)) < std::stoi(b.substr(6));
        });
        EXPECT_EQ(manager.pushString(nullptr, "base", 0), 0);
        EXPECT_EQ(contentOf(base), std::string("\4\0\0\0base", 8));
        EXPECT_EQ(manager.pushString(nullptr, "", 1), 0);
        EXPECT_EQ(contentOf(base), std::string("\4\0\0\0base\0\0\0\0", 12));

        EXPECT_EQ(manager.pushString(&second, "s", 0), 0);
        EXPECT_EQ(manager.pushString(&second, "2", 1), 0);
        EXPECT_EQ(manager.pushString(&first, "f", 0), 0);
        EXPECT_EQ(manager.pushString(&first, "1", 1), 0);
        EXPECT_EQ(contentOf(base.substr(0, base.size() - 4) + "___20.tmp"),
                  std::string("\1\0\0\0s\1\0\0\0002", 10));
        EXPECT_EQ(flush(manager), 0);
        EXPECT_EQ(m_report, "\nbase,  \nf   , 1\ns   , 2\n\n");
    }
    EXPECT_THAT(tempFiles(), IsEmpty());
}

TEST_F(TempFileManagerTest, FlushesAgainAndIgnoresLateCells) {
    TempFileManager manager(1);
    manager.setTitle("title");
    push(manager, {"a", "b"}, 1);
    EXPECT_EQ(flush(manager), 0);
    EXPECT_EQ(manager.pushString(nullptr, "c", 0), 0);
    EXPECT_EQ(flush(manager), 0);
    EXPECT_EQ(m_report, "title\na\nb\n\n");
    EXPECT_EQ(manager.flush(nullptr, ","), 1);
}

TEST_F(TempFileManagerTest, EchoesToTheConsole) {
    TempFileManager manager(2);
    manager.setTitle("title");
    manager.setConsole(true);
    push(manager, {"a", "b", "cc", "d"}, 2);
    testing::internal::CaptureStdout();
    EXPECT_EQ(flush(manager), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "title\na , b\ncc, d\n\n");
    EXPECT_EQ(m_report, "title\na , b\ncc, d\n\n");
}

TEST_F(TempFileManagerTest, TellsHowItStepsBack) {
    m_environment.m_logLevel = 4;
    TempFileManager manager(1);
    push(manager, {std::string(250, 'x'), "yy", std::string(300, 'z')}, 1);
    EXPECT_EQ(flush(manager), 0);
    EXPECT_THAT(m_infos.m_lines, ElementsAre("INFO: Rewinding file a by -2 (254 256)\n",
                                             "INFO: Rewinding file 2 a by -250 (6 256)\n"));
    m_infos.m_lines.clear();
    TempFileManager full(1);
    push(full, {std::string(252, 'x'), "behind the first buffer"}, 1);
    EXPECT_EQ(flush(full), 0);
    EXPECT_THAT(m_infos.m_lines, IsEmpty());
}

// A folder can be opened, and not be read.
TEST_F(TempFileManagerTest, TellsWhyAFileCannotBeRead) {
    m_environment.m_logLevel = 2;
    const FilePtr folder = openFile(".", "rb");
    ASSERT_NE(folder, nullptr);
    CellReader reader;
    CellPrinter printer(stdout, false, {1}, ",");
    EXPECT_EQ(reader.replay(folder.get(), "folder", printer), CellReader::Result::Incomplete);
    EXPECT_EQ(reader.error(), EISDIR);
    EXPECT_THAT(m_infos.m_lines, ElementsAre("WARNING: Error reading file folder: 21\n"));
}

TEST_F(TempFileManagerTest, LosesATableWithoutAFile) {
    m_environment.m_logLevel = 2;
    std::string next;
    {
        const TempFileManager probe(1);
        next = "tmp___" + std::to_string(std::stoi(tempFiles().at(0).substr(6)) + 1);
    }
    std::filesystem::create_directory(next + ".tmp");
    {
        TempFileManager manager(1);
        manager.setTitle("title");
        EXPECT_FALSE(manager.hasFile());
        EXPECT_EQ(manager.pushString(nullptr, "a", 0), 1);
        std::filesystem::remove(next + ".tmp");
        std::ofstream(next + ".tmp") << std::string("\1\0\0\0x", 5);  // not ours
        EXPECT_EQ(flush(manager), 0);
    }
    EXPECT_EQ(m_report, "title\n\n");
    EXPECT_THAT(m_errors.m_lines, ElementsAre("ERROR: Cannot create temp output file: " + next +
                                              ".tmp. error: errnum=21: Is a directory\n"));
    EXPECT_THAT(m_infos.m_lines, ElementsAre("WARNING: Unable to open temp file: " + next + ".tmp\n"));
    EXPECT_TRUE(std::filesystem::remove(next + ".tmp"));
}

TEST_F(TempFileManagerTest, LosesAnEntityWithoutAFile) {
    const host::model::Entity entity(7, host::model::HandleTexts("e"), "e", 1, nullptr);
    TempFileManager manager(1);
    const std::string name = tempFiles().at(0).substr(0, tempFiles().at(0).size() - 4) + "___7.tmp";
    std::filesystem::create_directory(name);
    EXPECT_EQ(manager.pushString(&entity, "lost", 0), 1);
    EXPECT_THAT(m_errors.m_lines, ElementsAre("ERROR: Cannot open temp output file: " + name +
                                              ", error: errnum=21: Is a directory\n"));
    std::filesystem::remove(name);
    EXPECT_EQ(manager.pushString(&entity, "kept", 0), 0);
    EXPECT_EQ(flush(manager), 0);
    EXPECT_EQ(m_report, "\nkept\n\n");
}

TEST_F(TempFileManagerTest, MissesARemovedFile) {
    m_environment.m_logLevel = 2;
    TempFileManager manager(1);
    push(manager, {"a"}, 1);
    const std::string name = tempFiles().at(0);
    std::filesystem::remove(name);
    EXPECT_EQ(manager.pushString(nullptr, "b", 0), 0);
    const host::model::Entity entity(1, host::model::HandleTexts("e"), "e", 1, nullptr);
    EXPECT_EQ(manager.pushString(&entity, "of e", 0), 0);
    EXPECT_EQ(flush(manager), 0);
    EXPECT_EQ(m_report, "\nof e\n\n");
    EXPECT_THAT(m_infos.m_lines, ElementsAre("WARNING: Unable to open temp file: " + name + "\n"));
    EXPECT_THAT(m_errors.m_lines, ElementsAre("ERROR: Cannot read temp output file: " + name +
                                              ", table: , error: errnum=2: No such file or directory\n"));
}

// Another run in the same folder uses the same names.
TEST_F(TempFileManagerTest, NoticesAFileThatItHasNotWritten) {
    const std::string cells("\1\0\0\0a", 5);
    const struct {
        const char* what;
        bool isReplaced;
    } cases[] = {{"replaced by another with the same cells", true}, {"grown", false}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        m_errors.m_lines.clear();
        std::string name;
        {
            TempFileManager manager(1);
            manager.setTitle("title");
            push(manager, {"a"}, 1);
            name = tempFiles().at(0);
            if (test.isReplaced) std::filesystem::remove(name);
            std::ofstream(name, std::ios::binary | std::ios::app) << cells;
            flush(manager);
        }
        EXPECT_EQ(m_report, "title\n\n");
        EXPECT_THAT(m_errors.m_lines, ElementsAre("ERROR: Cannot read temp output file: " + name +
                                                  ", table: title, error: another run has written it\n"));
        EXPECT_EQ(std::filesystem::remove(name), test.isReplaced);
    }
}

TEST_F(TempFileManagerTest, LeavesTheCellsOfAnotherRunAlone) {
    std::string next;
    {
        const TempFileManager probe(1);
        next = "tmp___" + std::to_string(std::stoi(tempFiles().at(0).substr(6)) + 1) + ".tmp";
    }
    std::ofstream(next) << "theirs";
    const FilePtr theirs(std::fopen(next.c_str(), "rb"));
    {
        TempFileManager manager(1);
        push(manager, {"a"}, 1);
        char bytes[10] = "";
        EXPECT_EQ(std::fread(bytes, 1, sizeof bytes, theirs.get()), 6U);
        EXPECT_STREQ(bytes, "theirs");
        // They take it back.
        std::filesystem::remove(next);
        std::ofstream(next) << "theirs";
    }
    EXPECT_TRUE(std::filesystem::remove(next));
}

// A file that somebody has cut anywhere gives its whole cells, an ended line and a failure, and never hangs.
TEST_F(TempFileManagerTest, StopsAtATornCell) {
    const std::string longCell(300, 'x');
    for (const std::size_t cut : {1U, 3U, 4U, 5U, 6U, 7U, 260U, 308U, 309U, 310U, 313U}) {
        TempFileManager manager(3);
        push(manager, {"a", longCell, "b"}, 3);
        std::filesystem::resize_file(tempFiles().at(0), cut);
        m_errors.m_lines.clear();
        EXPECT_EQ(flush(manager), 1) << cut;
        std::string expected = cut < 5 ? "\n" : "\na, ";
        if (cut >= 309) expected += longCell + ", ";
        EXPECT_EQ(m_report, expected + (cut < 5 ? "\n" : "\n\n")) << cut;
        EXPECT_THAT(m_errors.m_lines, ElementsAre(HasSubstr("error: errnum=61: No data available\n"))) << cut;
    }
}

// Wherever the file ends for lack of room, the cells before stay, and nothing after them is mixed in.
TEST_F(TempFileManagerTest, KeepsWhatWasStoredBeforeAFailedWrite) {
    const std::vector<std::string> cells = {"a", "bb", "c", "dddd", "e", "ff"};
    for (rlim_t room = 0; room < 35; ++room) {
        m_errors.m_lines.clear();
        std::string stored;
        int failures = 0;
        TempFileManager manager(2);
        manager.setTitle("title");
        {
            const ScopedLimit limit(RLIMIT_FSIZE, room);
            for (std::size_t i = 0; i < cells.size(); ++i) {
                const int status = manager.pushString(nullptr, cells[i], static_cast<int>(i % 2));
                failures += status;
                EXPECT_EQ(status, failures > 0 ? 1 : 0);
                if (status == 0) stored += cells[i] + (i % 2 == 0 ? "," : ";");
            }
        }
        EXPECT_EQ(manager.pushString(nullptr, "late", 0), 1);
        ASSERT_GT(failures, 0);
        EXPECT_THAT(m_errors.m_lines, ElementsAre(HasSubstr("title, error: errnum=27: File too large\n")));
        EXPECT_EQ(flush(manager, ","), 1);
        std::string got = m_report.substr(6);
        std::erase(got, ' ');
        std::replace(stored.begin(), stored.end(), ';', '\n');
        if (stored.ends_with(',')) stored += '\n';
        EXPECT_EQ(got, stored + "\n") << room;
    }
}

TEST_F(TempFileManagerTest, FailsWhenTheReportCannotTakeIt) {
    TempFileManager manager(1);
    const std::string cell(1000, 'x');
    for (int i = 0; i < 200; ++i) ASSERT_EQ(manager.pushString(nullptr, cell, 0), 0);
    const FilePtr full(std::fopen("/dev/full", "wb"));
    EXPECT_EQ(manager.flush(full.get(), ","), 1);
    EXPECT_EQ(flush(manager), 0);
    EXPECT_EQ(m_report.size(), 200 * 1001 + 2);
}

}  // namespace
