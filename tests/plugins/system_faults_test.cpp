// What the writers tell, and keep, when a call of the system fails that hardly ever does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

#include "host/model/environment.h"
#include "host/model/quantity.h"
#include "host/model/system_metadata.h"
#include "import/vyrtawriter_plugin.h"
#include "json/json_plugin.h"
#include "overtime/raw_writer_v2.h"
#include "summary/autowriter_plugin.h"
#include "summary/summarywriter_plugin.h"
#include "tests/binary/allocation_faults.h"
#include "tests/support/renamed.h"
#include "tests/support/stream_runner.h"

namespace {

// With which errno a call fails; 0: it works.
struct Faults {
    int block = 0;   // of makeBlock
    int resize = 0;  // of resizeBlock
    int seek = 0;
    int unlink = 0;
    int close = 0;
    int path = 0;
    bool isWriteOnly = false;  // what is opened for reading
};
Faults s_faults;
int s_naps = 0;

bool fails(int error) {
    if (error != 0) errno = error;
    return error != 0;
}

}  // namespace

// The linker puts these in the place of the functions.
extern "C" {
void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size) {
    return fails(s_faults.block) ? nullptr : __real_malloc(size);
}
void* __real_realloc(void* block, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size) {
    return fails(s_faults.resize) ? nullptr : __real_realloc(block, size);
}
int __real_fseek(std::FILE* file, long offset, int whence);
int __wrap_fseek(std::FILE* file, long offset, int whence);
int __wrap_fseek(std::FILE* file, long offset, int whence) {
    return fails(s_faults.seek) ? -1 : __real_fseek(file, offset, whence);
}
int __real_unlink(const char* path);
int __wrap_unlink(const char* path);
int __wrap_unlink(const char* path) {
    return fails(s_faults.unlink) ? -1 : __real_unlink(path);
}
int __real_fclose(std::FILE* file);
int __wrap_fclose(std::FILE* file);
int __wrap_fclose(std::FILE* file) {
    const int status = __real_fclose(file);
    return fails(s_faults.close) ? EOF : status;
}
int __wrap_usleep(useconds_t time);
int __wrap_usleep(useconds_t time) {
    EXPECT_EQ(time, 10000U);
    ++s_naps;
    return 0;
}
int __real__ZN3pwr6mkpathERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(const std::string& path);
int __wrap__ZN3pwr6mkpathERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(const std::string& path);
int __wrap__ZN3pwr6mkpathERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(const std::string& path) {
    if (fails(s_faults.path)) return -1;
    return __real__ZN3pwr6mkpathERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE(path);
}
bool __wrap__ZN3pwr14openFileHandleEPP8_IO_FILEPKcS4_(std::FILE** file, const char* path, const char* mode);
bool __wrap__ZN3pwr14openFileHandleEPP8_IO_FILEPKcS4_(std::FILE** file, const char* path, const char* mode) {
    *file = std::fopen(path, s_faults.isWriteOnly && *mode == 'r' ? "ab" : mode);
    return *file != nullptr;
}
}

namespace {

class SystemFaults : public testing::Test {
protected:
    SystemFaults() { m_environment.m_logLevel = 2; }
    ~SystemFaults() override { s_faults = {}; }

    // What an operation tells while a call fails.
    template <typename Operation>
    std::string toldBy(const Faults& faults, const Operation& operation) {
        m_log.m_lines.clear();
        s_faults = faults;
        operation();
        s_faults = {};
        return m_log.text();
    }

    test::CapturedLog m_log;
    host::model::Environment m_environment{m_log, m_log};
};

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
std::unique_ptr<std::FILE, FileCloser> temporaryFile() {
    return std::unique_ptr<std::FILE, FileCloser>(std::tmpfile());
}

std::string contentOf(const char* path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// A file whose writes fail with the first error, and whose closing fails with the second; 0: they work.
struct FailingFile {
    int writeError;
    int closeError;
    std::FILE* open() {
        cookie_io_functions_t functions{};
        functions.write = [](void* self, const char*, std::size_t size) {
            const int error = static_cast<FailingFile*>(self)->writeError;
            errno = error > 0 ? error : errno;
            return error == 0 ? static_cast<ssize_t>(size) : 0;
        };
        functions.close = [](void* self) {
            return fails(static_cast<FailingFile*>(self)->closeError) ? -1 : 0;
        };
        return fopencookie(this, "w", functions);
    }
};

// The first reason counts. Where the system gives none, -1 here, it is an input/output error.
TEST_F(SystemFaults, OfAResultGiveTheirFirstReason) {
    const struct {
        FailingFile file;
        int before;  // an error that has been met already
        std::size_t size;
        const char* reason;
    } cases[] = {
        {{0, 0}, 0, 10, nullptr},
        {{ENOSPC, 0}, 0, 10, "No space left on device"},        // when it is flushed
        {{ENOSPC, EIO}, 0, 100000, "No space left on device"},  // when it is written
        {{ENOSPC, 0}, EFBIG, 100000, "File too large"},
        {{-1, 0}, 0, 100000, "Input/output error"},
        {{0, EDQUOT}, 0, 10, "Disk quota exceeded"},
    };
    for (auto test : cases) {
        FilePtr file(test.file.open());
        int error = test.before;
        bool isComplete = true;
        const std::string told = toldBy({}, [&] {
            errno = EPERM;  // of something else
            writeText(file.get(), std::string(test.size, 'x'), error);
            isComplete = finishFile(std::move(file), "F", error);
        });
        EXPECT_EQ(isComplete, test.reason == nullptr);
        EXPECT_EQ(told, test.reason == nullptr
                            ? ""
                            : std::string("ERROR: Could not complete F: ") + test.reason + "\n");
    }
}

// The first store of the process looks after its folder.
TEST_F(SystemFaults, AWorkingFolderThatIsGone) {
    const auto make = [] {
        try {
            const pwr::ZTExtensibleBackingStore store(1);
        } catch (const char* what) {
            EXPECT_STREQ(what, "Couldn't initialize buffer\n");
        }
    };
    EXPECT_EQ(toldBy({.path = ENOENT}, make),
              "WARNING: couldn't prepare working directory for ZTExtensibleBackingStore!\n"
              "ERROR: Failed to initialize temporary file : errnum=2: No such file or directory\n");
    EXPECT_EQ(toldBy({}, make), "");
    EXPECT_EQ(toldBy({.path = ENOENT}, make), "");
    // A file of an earlier process that cannot be removed is not used.
    std::srand(7);
    const std::string stale = "_" + std::to_string(getpid()) + "_" + std::to_string(std::rand());
    std::ofstream(stale) << "left behind";
    std::srand(7);
    EXPECT_EQ(toldBy({.unlink = EACCES}, make),
              "ERROR: Failed to initialize temporary file ./" + stale + ": errnum=13: Permission denied\n");
    EXPECT_EQ(contentOf(stale.c_str()), "left behind");
    std::filesystem::remove(stale);
    EXPECT_THAT(
        toldBy({.resize = ENOMEM}, make),
        testing::MatchesRegex("ERROR: Failed to initialize temporary file ./_[0-9_]+: errnum=12: Cannot "
                              "allocate memory\n"));
}

TEST_F(SystemFaults, OfATableOfTheReport) {
    const std::string lost = "ERROR: Cannot read temp output file: N.tmp, table: T, error: errnum=";
    const struct {
        Faults faults;
        int status;
        std::string told;
    } cases[] = {
        {{.block = ENOMEM},
         1,
         "WARNING: Failed to allocate buffer of size 256\n" + lost + "12: Cannot allocate memory\n"},
        {{.resize = ENOMEM},
         1,
         "WARNING: Failed to re-allocate buffer of size 512\n" + lost + "12: Cannot allocate memory\n"},
        {{.seek = EIO}, 1, "WARNING: fseek failed\n" + lost + "5: Input/output error\n"},
        {{.close = EIO},
         1,
         "ERROR: Cannot write temp output file: N.tmp, table: T, error: errnum=5: Input/output error\n"},
        {{.isWriteOnly = true},
         1,
         "WARNING: Error reading file N.tmp: 9\n" + lost + "9: Bad file descriptor\n"},
        {{}, 0, ""},
    };
    for (const auto& test : cases) {
        TempFileManager table(1);
        table.setTitle("T");
        table.pushString(nullptr, "short", 0);
        table.pushString(nullptr, std::string(300, 'x'), 0);
        const auto report = temporaryFile();
        int status = -1;
        const std::string told = toldBy(test.faults, [&] { status = table.flush(report.get(), ", "); });
        EXPECT_EQ(test::renamed(told, "tmp___", "tmp_0123456789", "N"), test.told);
        EXPECT_EQ(status, test.status) << test.told;
    }
    auto table = std::make_unique<TempFileManager>(1);
    EXPECT_THAT(toldBy({.unlink = EACCES}, [&] { table.reset(); }),
                testing::MatchesRegex("ERROR: Cannot remove temp output file: tmp___[0-9]+.tmp, error: "
                                      "errnum=13: Permission denied\n"));
    for (const auto& entry : std::filesystem::directory_iterator("."))
        if (entry.path().extension() == ".tmp") std::filesystem::remove(entry.path());
}

TEST_F(SystemFaults, OfAReportOnStandardOutput) {
    SummaryWriter writer;
    ASSERT_EQ(writer.init("console", false), 0);
    EXPECT_EQ(writer.writeMessage(pwr::TextMessage()), 0);
    std::fflush(stdout);
    const int saved = dup(1);
    std::FILE* const full = std::fopen("/dev/full", "w");
    dup2(fileno(full), 1);
    EXPECT_EQ(toldBy({}, [&] { EXPECT_EQ(writer.fini(), 0); }),
              "ERROR: Could not complete the report on standard output\n");
    dup2(saved, 1);
    close(saved);
    std::fclose(full);
    std::clearerr(stdout);
}

// Rather a line too many than none.
TEST_F(SystemFaults, OfTheSharedSummaryLine) {
    const char* const path = "Automation_Summary.csv";
    std::filesystem::remove(path);
    const auto run = [] {
        AutoWriter writer;
        EXPECT_EQ(writer.init("run", false), 0);
        EXPECT_EQ(writer.fini(), 0);
    };
    EXPECT_EQ(toldBy({}, run), "");
    EXPECT_EQ(toldBy({.isWriteOnly = true}, run), "WARNING: Could not read all of Automation_Summary.csv\n");
    EXPECT_EQ(s_naps, 0);
    std::FILE* const other = std::fopen(path, "ab");
    ASSERT_EQ(flock(fileno(other), LOCK_EX), 0);
    EXPECT_EQ(toldBy({}, run), "WARNING: Another run keeps Automation_Summary.csv locked\n");
    EXPECT_EQ(s_naps, 1000);
    std::fclose(other);
    EXPECT_EQ(contentOf(path), "Output_Name,\nrun,\nOutput_Name,\nrun,\nrun,\n");
    // What is no plain file is only written to, and nothing is taken back from it.
    std::filesystem::remove(path);
    std::filesystem::create_symlink("/dev/null", path);
    EXPECT_EQ(toldBy({.isWriteOnly = true}, run), "");
    std::filesystem::remove(path);
    std::filesystem::create_symlink("/dev/full", path);
    AutoWriter writer;
    EXPECT_EQ(writer.init("run", false), 0);
    EXPECT_EQ(toldBy({}, [&] { EXPECT_EQ(writer.fini(), 1); }),
              "ERROR: Could not complete Automation_Summary.csv: No space left on device\n");
    std::filesystem::remove(path);
}

TEST_F(SystemFaults, OfATableOverTime) {
    const struct {
        Faults faults;
        std::size_t length;
        const char* told;
    } cases[] = {{{.block = ENOMEM}, 10, "WARNING: Failed to allocate buffer of size 4096\n"},
                 {{.resize = ENOMEM},
                  (1 << 20) + 1,
                  "WARNING: Failed to allocate buffer of size 2097152 bytes\n"
                  "ERROR: Could not read all rows of \"T\" from S: Cannot allocate memory\n"}};
    for (const auto& test : cases) {
        BackingStoreWrapper table("T", "n/a");
        table.addColumn("");
        table.pushCell(std::string(test.length, 'x'), 0);
        table.rowComplete();
        const auto file = temporaryFile();
        const std::string told =
            toldBy(test.faults, [&] { EXPECT_EQ(table.flush(file.get(), ",", false), 1); });
        EXPECT_EQ(test::renamed(told, "./_", "./_0123456789", "S"), test.told);
        EXPECT_FALSE(table.isComplete());
    }
}

// Without memory for a buffer a table is printed cell by cell, to the same bytes.
TEST_F(SystemFaults, OfTheBufferOfATable) {
    BackingStoreWrapper table("T", "n/a");
    for (const char* title : {"", "A", "B"}) table.addColumn(title);
    for (std::uint16_t row = 0; row < 40; ++row) {
        table.pushCell(std::string(row, 'x'), static_cast<std::uint16_t>(row % 3));
        table.rowComplete();
    }
    // What is printed when the allocation `n` fails, if any; nothing if the table cannot do without it.
    bool failed = false;
    const auto printed = [&](std::size_t n) {
        const auto file = temporaryFile();
        int status = 0;
        allocation_faults::failAfter(n);
        try {
            status = table.flush(file.get(), ",", true);
        } catch (const std::bad_alloc&) {
            status = 1;
        }
        failed = allocation_faults::stop();
        std::string text(status == 0 ? static_cast<std::size_t>(std::ftell(file.get())) : 0, ' ');
        std::rewind(file.get());
        EXPECT_EQ(std::fread(text.data(), 1, text.size(), file.get()), text.size());
        return text;
    };
    const std::string whole = printed(1000000);
    std::size_t unbuffered = 0;
    std::size_t n = 0;
    do {
        const std::string text = printed(n++);
        if (text.empty()) continue;
        EXPECT_EQ(text, whole);
        unbuffered += failed ? 1 : 0;
    } while (failed);
    EXPECT_GT(unbuffered, 0U);
}

TEST_F(SystemFaults, OfTheMemoryOfADocument) {
    host::model::SystemMetadata metadata;
    metadata.m_tscFrequency = 1.0F;
    metadata.m_commandLine = {std::string(100000, 'c')};
    pwr::SystemMessage system;
    system.m_metadata = &metadata;
    JSONWriter writer;
    EXPECT_EQ(writer.init("run", false), 0);
    EXPECT_EQ(writer.writeMessage(system), 0);
    EXPECT_EQ(toldBy({.resize = ENOMEM}, [&] { EXPECT_EQ(writer.fini(), 1); }),
              "ERROR: Out of memory for the rest of run.ztjson\n");
}

TEST_F(SystemFaults, OfABlockOfTheImportFile) {
    const std::string bytes(3 << 20, 'x');
    VyrtaBackingStoreManager block("M");
    ASSERT_EQ(block.pushBuffer_i(bytes.data(), static_cast<unsigned int>(bytes.size())), 0);
    const std::string name = "WARNING: VyrtaWriterPlugin:    ";
    const auto flushTo = [&](std::FILE* file) { return [&block, file] { EXPECT_EQ(block.flush(file), 1); }; };
    const auto file = temporaryFile();
    EXPECT_EQ(toldBy({.block = ENOMEM}, flushTo(file.get())),
              name + "Failed to allocate buffer of size 262144\n");
    EXPECT_EQ(errno, ENOMEM);
    const std::unique_ptr<std::FILE, FileCloser> full(std::fopen("/dev/full", "w"));
    EXPECT_EQ(toldBy({}, flushTo(full.get())), name + "Failed to write backing store '" +
                                                   block.m_store->getPath() +
                                                   "' buffer to main output file. \n");
    EXPECT_EQ(errno, ENOSPC);
    // Nothing is left in the result of a block that cannot be read to its end.
    std::fputs("before", file.get());
    std::filesystem::resize_file(block.m_store->getPath(), 1500000);
    EXPECT_EQ(toldBy({}, flushTo(file.get())),
              name + "Failed to read from backing store '" + block.m_store->getPath() + "'. \n");
    std::fflush(file.get());
    struct stat status {};
    EXPECT_EQ(fstat(fileno(file.get()), &status), 0);
    EXPECT_EQ(status.st_size, 6);
    EXPECT_EQ(toldBy({}, flushTo(nullptr)), "");
}

}  // namespace
