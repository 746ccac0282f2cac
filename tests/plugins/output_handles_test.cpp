// What the writers ask of the host's handles of files: which names, which calls, in what order, and what is
// left in them. A host may do more by these calls than ours does.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "binary/binarywriter_plugin.h"
#include "continuous/cont_writer.h"
#include "json/json_plugin.h"
#include "summary/temp_file_manager.h"
#include "tests/support/all_writers.h"
#include "tests/support/renamed.h"
#include "tests/support/stream_runner.h"

namespace {

constexpr std::int32_t HOST_STATUS = 7;

std::string s_calls;

std::string shortName(const std::string& name) {
    return name.size() < 100 ? name : std::to_string(name.size()) + " bytes, " + name.substr(name.size() - 9);
}

// Has some bytes and a count already, as if others had written to it before.
class RecordingHandle : public pwr::Logger {
public:
    explicit RecordingHandle(const std::string& name) : m_name(shortName(name)) { refill(); }
    void refill() {
        m_buffer.assign({'o', 'l', 'd'});
        m_writeCount = 3;
    }
    void log(std::int32_t, const char*) override { s_calls += "log "; }
    std::int32_t finish() override {
        s_calls += "finish(" + m_name + ") ";
        return HOST_STATUS;
    }
    void flush() override {
        const std::string bytes(m_buffer.begin(), m_buffer.end());
        const bool isAppended = bytes.size() > 3 && bytes.starts_with("old") && m_writeCount == 3;
        s_calls += "flush(" + m_name + (isAppended ? ") " : ", but not of what was appended) ");
    }
    void close() override {
        const bool isEmpty = m_buffer.capacity() == 0 && m_writeCount == 0;
        s_calls += "close(" + m_name + (isEmpty ? ") " : ", but not empty) ");
        refill();
    }

private:
    const std::string m_name;
};

std::map<std::string, std::unique_ptr<RecordingHandle>> s_handles;

std::set<std::string> s_opened;
int s_openError = 0;  // with which opening fails
std::function<void(const char* path)> s_beforeOpening;

}  // namespace

// The linker puts these in the place of PluginEnvironment::getFileOutputHandle and pwr::openFileHandle.
extern "C" {
pwr::Logger* __wrap__ZNK17PluginEnvironment19getFileOutputHandleEPKc(const PluginEnvironment*,
                                                                     const char* name);
pwr::Logger* __wrap__ZNK17PluginEnvironment19getFileOutputHandleEPKc(const PluginEnvironment*,
                                                                     const char* name) {
    std::unique_ptr<RecordingHandle>& handle = s_handles[name];
    if (handle == nullptr) handle = std::make_unique<RecordingHandle>(name);
    return handle.get();
}
bool __wrap__ZN3pwr14openFileHandleEPP8_IO_FILEPKcS4_(std::FILE** file, const char* path, const char* mode);
bool __wrap__ZN3pwr14openFileHandleEPP8_IO_FILEPKcS4_(std::FILE** file, const char* path, const char* mode) {
    const std::string name = path;
    if (s_beforeOpening) std::exchange(s_beforeOpening, nullptr)(path);
    s_opened.insert((name.starts_with("tmp___") ? "temporary" : name) + " " + mode);
    *file = s_openError == 0 ? std::fopen(path, mode) : nullptr;
    if (s_openError != 0) errno = s_openError;
    return *file != nullptr;
}
}

namespace {

const char START[] = R"({"def":"entity","id":1,"name":"E"}
{"def":"descriptor","id":2,"name":"D"}
{"def":"metric","id":10,"name":"M","type":"SAMPLED_VALUE"}
{"msg":"system","tscMHz":1000,"cpuMHz":1000})";
const char SAMPLE[] = R"({"msg":"metric","metric":10,"t":1000,"data":[{"e":1,"dur":1,"d":2,"v":{"u":5}}]})";
const char TEXT[] = R"({"msg":"text","text":"A line"})";
const char FLUSH[] = R"({"msg":"flush"})";

struct Outcome {
    std::string calls;
    std::vector<std::string> statuses;
    std::string notes;
};

template <typename Writer>
Outcome runOf(const std::string& name, bool continuous, const std::vector<const char*>& lines) {
    s_calls.clear();
    s_handles.clear();
    std::unique_ptr<ContWriter>(std::exchange(g_contWriter, nullptr)).reset();
    test::StreamRunner runner;
    runner.m_environment.m_logLevel = 2;
    Writer writer;
    runner.add(writer);
    runner.begin(name, continuous);
    for (const char* line : lines) EXPECT_TRUE(runner.feed(line)) << runner.m_error;
    runner.finish();
    return {s_calls, runner.m_statuses, runner.m_infoLog.text() + runner.m_errorLog.text()};
}

// The files are numbered by the process; what is left at the end of a continuous run is not written.
TEST(OutputHandles, GetTheirCallsInOrder) {
    const std::vector<const char*> lines = {START, SAMPLE, FLUSH, SAMPLE, FLUSH, SAMPLE};
    const Outcome one = runOf<BinaryWriter>("run", false, {START, SAMPLE, SAMPLE});
    EXPECT_EQ(one.calls, "flush(run.ztbin) close(run.ztbin) ");
    EXPECT_TRUE(one.statuses.empty());
    const Outcome bin = runOf<BinaryWriter>("run", true, lines);
    EXPECT_EQ(bin.calls,
              "flush(run_0.ztbin) close(run_0.ztbin) flush(run_1.ztbin) close(run_1.ztbin) finish() ");
    EXPECT_EQ(bin.statuses, std::vector<std::string>{"0,bin,fini,7"});
    const Outcome json = runOf<JSONWriter>("run", true, lines);
    EXPECT_EQ(json.calls,
              "flush(run_0.ztjson) close(run_0.ztjson) flush(run_1.ztjson) close(run_1.ztjson) finish() ");
    EXPECT_EQ(json.statuses, std::vector<std::string>{"0,json,fini,7"});
    // While a collector exists, too.
    EXPECT_EQ(runOf<JSONWriter>("run", false, {START, SAMPLE}).calls, "");
}

TEST(OutputFiles, AreOpenedInBinaryModes) {
    s_opened.clear();
    std::remove("Automation_Summary.csv");
    {
        test::StreamRunner runner;
        const test::AllWriters writers;
        for (int i = 0; i < writers.count(); ++i) runner.add(writers[i]);
        runner.begin("run");
        for (const char* line : {START, TEXT, SAMPLE}) EXPECT_TRUE(runner.feed(line)) << runner.m_error;
        runner.finish();
        EXPECT_EQ(runner.m_statuses, std::vector<std::string>{}) << runner.m_errorLog.text();
    }
    EXPECT_EQ(s_opened,
              (std::set<std::string>{"Automation_Summary.csv ab", "Automation_Summary.csv rb", "run.csv wb",
                                     "run.pwr wb", "run.txt wb", "run.ztjson wb", "run_meta_phm.csv wb",
                                     "run_phm.csv wb", "run_trace.csv wb", "temporary rb", "temporary wb"}));
}

// What concerns the whole run is told once.
TEST(OutputFiles, ThatCannotBeOpenedAreToldByReason) {
    const struct {
        int error;
        const char* lines;
    } cases[] = {
        {EMFILE,
         "Warning: Could not post process metric data: Too many open file handles. Results may be incomplete "
         "for "
         "some metrics. Try post processing results with only one -r option at a time. If the problem "
         "persists; "
         "try collecting fewer metrics.\n"},
        {ENOSPC, "Warning: Could not generate result files. No space is left on the disk.\n"},
        {EROFS, "Warning: Could not generate result files. The file system is not writeable.\n"},
        {EACCES,
         "ERROR: Cannot create temp output file: N.tmp. error: errnum=13: Permission denied\n"
         "ERROR: Cannot create temp output file: N.tmp. error: errnum=13: Permission denied\n"},
    };
    for (const auto& test : cases) {
        test::StreamRunner runner;
        s_openError = test.error;
        EXPECT_FALSE(TempFileManager(1).hasFile());
        EXPECT_FALSE(TempFileManager(1).hasFile());
        s_openError = 0;
        EXPECT_EQ(test::renamed(runner.m_errorLog.text(), "tmp___", "tmp_0123456789", "N"), test.lines);
        for (const auto& line : runner.m_errorLog.m_lines) EXPECT_EQ(line.m_level, 1);
        EXPECT_EQ(runner.m_infoLog.text(), "");
    }
}

// A run of the same names begins or ends between two calls of this one.
TEST(OutputFiles, AreNotSharedWithAnotherRun) {
    int theirs = -1;
    std::string name;
    const auto take = [&](const char* path) {
        name = path;
        theirs = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        EXPECT_EQ(flock(theirs, LOCK_EX | LOCK_NB), 0);
    };
    test::StreamRunner runner;
    s_beforeOpening = take;
    TempFileManager manager(1);
    EXPECT_TRUE(manager.hasFile());
    EXPECT_EQ(write(theirs, "theirs", 6), 6);
    EXPECT_EQ(manager.pushString(nullptr, "a", 0), 0);
    EXPECT_EQ(std::filesystem::file_size(name), 5U);
    close(theirs);

    s_beforeOpening = take;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> report(std::tmpfile(), std::fclose);
    manager.flush(report.get(), ",");
    close(theirs);
    EXPECT_EQ(std::ftell(report.get()), 2);  // the title and the end
    EXPECT_EQ(runner.m_errorLog.text(), "ERROR: Cannot read temp output file: " + name +
                                            ", table: , error: another run has written it\n");
    std::remove(name.c_str());
}

TEST(OutputHandles, HaveNamesOfUpTo1023Bytes) {
    const char note[] = "Note: The name of the binary trace is cut to 1023 characters\n";
    const auto nameOf = [](std::size_t length) { return std::string(length, 'n'); };
    const auto both = [](const std::string& name) { return "flush(" + name + ") close(" + name + ") "; };
    const struct {
        Outcome run;
        std::string calls;
        std::string notes;
    } cases[] = {
        {runOf<BinaryWriter>(nameOf(1017), false, {START, SAMPLE}), both("1023 bytes, nnn.ztbin"), ""},
        {runOf<BinaryWriter>(nameOf(1018), false, {START, SAMPLE}), both("1023 bytes, nnnn.ztbi"), note},
        {runOf<BinaryWriter>(nameOf(1015), true, {START, SAMPLE, FLUSH}),
         both("1023 bytes, n_2.ztbin") + "finish() ", ""},
        {runOf<BinaryWriter>(nameOf(1016), true, {START, SAMPLE, FLUSH}),
         both("1023 bytes, nn_3.ztbi") + "finish() ", note},
        {runOf<JSONWriter>(nameOf(1014), true, {START, SAMPLE, FLUSH}),
         both("1023 bytes, _2.ztjson") + "finish() ", ""},
        {runOf<JSONWriter>(nameOf(1015), true, {START, SAMPLE, FLUSH}),
         both("1023 bytes, n_3.ztjso") + "finish() ", ""},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(test.run.calls, test.calls);
        EXPECT_EQ(test.run.notes, test.notes);
    }
}

}  // namespace
