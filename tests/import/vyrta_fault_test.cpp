// The writer when its stores or its result fail it. The result file is opened once in a process, so every run
// has a process of its own.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>

#include "tests/import/vyrta_fixture.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

const char DEFINITIONS[] = R"({"def":"entity","id":1,"name":"Core"}
{"def":"descriptor","id":2,"name":"C0"}
{"def":"metric","id":8,"name":"Small","type":"SAMPLED_DELTA"}
{"def":"metric","id":9,"name":"Large","type":"SAMPLED_DELTA"}
{"def":"metric","id":10,"name":"Last","type":"SAMPLED_DELTA"})";

// What a run leaves behind.
struct Result {
    std::string log;       // all lines
    std::string statuses;  // those that are not 0, a line each
    bool hasFile;
    std::size_t fileSize;
    std::size_t others;  // files besides the result
};

void limit(__rlimit_resource resource, rlim_t value) {
    const rlimit limits{value, value};
    ASSERT_EQ(setrlimit(resource, &limits), 0);
}

class VyrtaFaults : public testing::Test {
protected:
    VyrtaFaults() : m_folder(fs::absolute("faults")) {
        fs::remove_all(m_folder);
        fs::create_directory(m_folder);
    }
    ~VyrtaFaults() override { fs::remove_all(m_folder); }

    // Runs `steps` with a writer in a child, then collects what it left.
    static Result run(const fs::path& folder,
                      const std::function<void(test::StreamRunner&, VyrtaWriter&)>& steps) {
        const pid_t child = fork();
        if (child == 0) {
            fs::current_path(folder);
            runChild(steps);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << "the child ended by itself";
        Result result{read(folder / "log"), read(folder / "statuses"), false, 0, 0};
        fs::remove(folder / "log");
        fs::remove(folder / "statuses");
        for (const auto& entry : fs::directory_iterator(folder)) {
            if (entry.path().filename() != "run.pwr")
                ++result.others;
            else if (entry.is_regular_file())
                result.fileSize = entry.file_size();
            result.hasFile = result.hasFile || entry.path().filename() == "run.pwr";
        }
        return result;
    }

    static std::string sample(int metric, int tsc) {
        return R"({"msg":"metric","metric":)" + std::to_string(metric) + R"(,"t":)" + std::to_string(tsc) +
               R"(,"data":[{"e":1,"d":2,"v":{"u":1}}]})";
    }

    static long linesWith(const test::CapturedLog& log, std::string_view text) {
        return std::count_if(log.m_lines.begin(), log.m_lines.end(), [text](const auto& line) {
            return line.m_text.find(text) != std::string::npos;
        });
    }

    // Samples of 94 bytes each, more than a store keeps in memory.
    static void feedLarge(test::StreamRunner& runner) {
        for (int i = 0; i < 12000; ++i) runner.feed(sample(9, 101 + i));
    }

    fs::path m_folder;

private:
    [[noreturn]] static void runChild(const std::function<void(test::StreamRunner&, VyrtaWriter&)>& steps) {
        std::signal(SIGXFSZ, SIG_IGN);
        const int log = open("log", O_CREAT | O_WRONLY, 0600);
        const int statuses = open("statuses", O_CREAT | O_WRONLY, 0600);
        std::string logText;
        std::string statusText;
        {
            test::StreamRunner runner;
            runner.m_environment.m_logLevel = 2;
            VyrtaWriter writer;
            runner.add(writer);
            runner.begin("run");
            runner.feed(DEFINITIONS);
            runner.feed(R"({"msg":"system","tscMHz":1000,"cpuMHz":1000,"start":100})");
            steps(runner, writer);
            runner.finish();
            logText = runner.m_errorLog.text() + runner.m_infoLog.text();
            for (const std::string& status : runner.m_statuses) {
                // Of the samples of a metric that is void the first says it all.
                if (statusText.find("metric,1") == std::string::npos ||
                    status.find("metric,1") == std::string::npos)
                    statusText += status.substr(status.find(',') + 1) + "\n";
            }
        }
        limit(RLIMIT_FSIZE, RLIM_INFINITY);
        const bool written = write(log, logText.data(), std::min<std::size_t>(logText.size(), 4000)) >= 0 &&
                             write(statuses, statusText.data(), statusText.size()) >= 0;
        _exit(written ? 0 : 1);
    }

    static std::string read(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
};

TEST_F(VyrtaFaults, NoneLeavesTheResultAlone) {
    const Result result = run(m_folder, [](test::StreamRunner& runner, VyrtaWriter&) {
        runner.feed(sample(8, 200));
        feedLarge(runner);
    });
    EXPECT_EQ(result.statuses, "");
    EXPECT_GT(result.fileSize, 12000U * 94);
    EXPECT_EQ(result.others, 0U);
}

// A metric that could not spill is left out; the others are there.
TEST_F(VyrtaFaults, AFullDiskWhileSpillingVoidsTheMetric) {
    const Result result = run(m_folder, [](test::StreamRunner& runner, VyrtaWriter&) {
        runner.feed(sample(8, 200));
        rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit small{65536, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        feedLarge(runner);
        setrlimit(RLIMIT_FSIZE, &before);
    });
    EXPECT_EQ(result.statuses, "vyrta,metric,1\n");
    EXPECT_THAT(result.log, HasSubstr("WARNING: VyrtaWriterPlugin:    Failed to write to tmp file ./_"));
    EXPECT_THAT(result.log, HasSubstr("ERROR: Could not spool the records of \""));
    EXPECT_THAT(result.log, HasSubstr("Unable to write a 'Large:9' record."));
    EXPECT_TRUE(result.hasFile);
    EXPECT_LT(result.fileSize, 4000U);
    EXPECT_EQ(result.others, 0U);
}

TEST_F(VyrtaFaults, AFullDiskWhileAssemblingIsReported) {
    const Result result = run(m_folder, [](test::StreamRunner& runner, VyrtaWriter&) {
        runner.feed(sample(8, 200));
        rlimit limits{};
        getrlimit(RLIMIT_FSIZE, &limits);
        limits.rlim_cur = 700;
        feedLarge(runner);
        setrlimit(RLIMIT_FSIZE, &limits);
    });
    EXPECT_THAT(result.log, HasSubstr("ERROR: Could not complete run.pwr: "));
    EXPECT_EQ(result.statuses, "") << "the end of the run is not failed by a copy";
    EXPECT_EQ(result.others, 0U);
}

// The rest of the file stays whole.
TEST_F(VyrtaFaults, ABlockThatCannotBeReadLeavesNothingOfItself) {
    const Result result = run(m_folder, [](test::StreamRunner& runner, VyrtaWriter& writer) {
        runner.feed(sample(8, 200));
        feedLarge(runner);
        runner.feed(sample(10, 1000000000));
        pwr::ZTExtensibleBackingStore& store = *writer.m_impl->findBackingStore(9)->m_store;
        store.resetForRead();
        fs::resize_file(store.getPath(), pwr::ZTExtensibleBackingStore::WINDOW_LIMIT + 1);
    });
    EXPECT_THAT(result.log, HasSubstr("Failed to read from backing store './_"));
    EXPECT_THAT(result.log, HasSubstr("ERROR: Could not complete run.pwr: "));
    EXPECT_EQ(result.statuses, "");
    EXPECT_GT(result.fileSize, 0U);
    EXPECT_LT(result.fileSize, 4000U);
    EXPECT_EQ(result.others, 0U);
}

TEST_F(VyrtaFaults, AStoreThatCannotBeMadeVoidsTheResult) {
    const Result result = run(m_folder, [](test::StreamRunner& runner, VyrtaWriter&) {
        runner.feed(sample(8, 200));
        // A working directory that is gone takes no files.
        const fs::path folder = fs::current_path();
        fs::create_directory("gone");
        fs::current_path("gone");
        fs::remove(folder / "gone");
        runner.feed(sample(9, 200));
        fs::current_path(folder);
        runner.feed(sample(8, 201));
    });
    EXPECT_EQ(result.statuses, "vyrta,metric,1\nvyrta,fini,1\n");
    EXPECT_THAT(result.log, HasSubstr("ERROR: Failed to initialize temporary file ./_"));
    EXPECT_THAT(result.log, HasSubstr("WARNING: VyrtaWriterPlugin:    Failed to write magic record.\n"));
    EXPECT_FALSE(result.hasFile);
    EXPECT_EQ(result.others, 0U);
}

TEST_F(VyrtaFaults, AResultThatCannotBeMadeIsReported) {
    fs::create_directory(m_folder / "run.pwr");
    const Result result =
        run(m_folder, [](test::StreamRunner& runner, VyrtaWriter&) { runner.feed(sample(8, 200)); });
    EXPECT_EQ(result.statuses, "vyrta,fini,1\n");
    EXPECT_THAT(result.log, HasSubstr("WARNING: VyrtaWriterPlugin:    Could not create run.pwr\n"));
    EXPECT_EQ(result.others, 0U);
}

// The result is a file without samples, so that it is to go; a file of the system's can be opened and stays.
TEST_F(VyrtaFaults, AResultThatCannotBeRemovedIsReported) {
    const Result result = run(m_folder, [](test::StreamRunner&, VyrtaWriter& writer) {
        writer.m_impl->m_fileName = "/proc/self/comm";
    });
    EXPECT_EQ(result.log,
              "ERROR: Failed to remove the .pwr result file \"/proc/self/comm\", the file is unusable.\n");
    EXPECT_EQ(result.statuses, "");
}

// Nothing of a run's processes and threads, which are the host's, is left to the next run of the process.
// That has no file, and says why.
TEST_F(VyrtaFaults, ALaterRunOfTheProcessStartsAfresh) {
    const Result result = run(m_folder, [](test::StreamRunner& runner, VyrtaWriter&) {
        runner.m_environment.m_logLevel = 3;
        runner.feed(R"({"def":"attribute","id":20,"name":"Process","type":3}
{"def":"attribute","id":21,"name":"Thread","type":4}
{"def":"process","id":30,"pid":7,"path":"a.out"}
{"def":"thread","id":31,"pid":7,"tid":8}
{"msg":"metric","metric":8,"t":200,"data":[{"e":1,"d":2,"v":{"u":1},"info":[[20,{"h":30}],[21,{"h":31}]]}]})");
        for (const int expected : {1, 0}) {
            runner.m_infoLog.m_lines.clear();
            runner.finish();
            for (const char* what : {"Re-handling process", "Re-handling thread"})
                if (linesWith(runner.m_infoLog, what) != expected) _exit(2);
            runner.begin("later");
            runner.m_environment.m_logLevel = 3;
            runner.feed(R"({"msg":"system","tscMHz":1000,"cpuMHz":1000,"start":100})"
                        "\n" +
                        sample(8, 300));
        }
        runner.m_environment.m_logLevel = 1;
        runner.m_errorLog.m_lines.clear();
    });
    EXPECT_THAT(result.log,
                StartsWith("ERROR: later.pwr is not written: a process makes one .pwr file, and an "
                           "earlier run had it\nNote: "));
    EXPECT_EQ(result.statuses, "");
    EXPECT_TRUE(result.hasFile);
    EXPECT_EQ(result.others, 0U);
}

// A header block with part of a record in it must not become a file.
TEST_F(VyrtaFaults, ATornHeaderVoidsTheResult) {
    const Result result = run(m_folder, [](test::StreamRunner& runner, VyrtaWriter& writer) {
        runner.feed(sample(8, 200));
        rlimit before{};
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit none{0, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &none);
        const std::string bytes(2 << 20, 'x');
        EXPECT_EQ(writer.writeRecord(writer.m_systemStoreId, bytes.data(), 2U << 20), 1);
        setrlimit(RLIMIT_FSIZE, &before);
        runner.feed(sample(8, 201));
    });
    EXPECT_EQ(result.statuses, "vyrta,fini,1\n");
    EXPECT_FALSE(result.hasFile);
    EXPECT_EQ(result.others, 0U);
}

}  // namespace
