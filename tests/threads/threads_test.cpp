// A host may give each writer a thread of its own, as long as one thread at a time calls a writer and writers
// are started one after the other: what they share with each other must not show.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <thread>

#include "plugins/writer_plugin_capability.h"
#include "tests/support/all_writers.h"
#include "tests/support/stream_runner.h"

namespace {

namespace fs = std::filesystem;

// Gives each message to all writers of the library at once, each in a thread of its own.
class AllAtOnce : public WriterPlugin {
public:
    explicit AllAtOnce(bool inThreads) : WriterPlugin("all"), m_inThreads(inThreads) {
        addCapability(
            std::make_unique<pwr::WriterPluginCapability>(std::set<pwr::TableClass>(), "all", "", "", true)
                .release());
    }
    AllAtOnce(const AllAtOnce&) = delete;
    AllAtOnce& operator=(const AllAtOnce&) = delete;

    std::int32_t init(const std::string& outputName, bool continuous) override {
        for (int i = 0; i < m_writers.count(); ++i) EXPECT_EQ(m_writers[i].init(outputName, continuous), 0);
        return 0;
    }
    std::int32_t fini() override {
        for (int i = 0; i < m_writers.count(); ++i) EXPECT_EQ(m_writers[i].fini(), 0);
        return 0;
    }
    std::int32_t writeMessage(const pwr::TableMessage& message) override { return pass_i(message); }
    std::int32_t writeMessage(const pwr::TextMessage& message) override { return pass_i(message); }
    std::int32_t writeMessage(const pwr::SystemMessage& message) override { return pass_i(message); }
    std::int32_t writeMessage(const pwr::Metric& message) override { return pass_i(message); }
    std::int32_t writeMessage(const pwr::MetricContainerInfoMessage& message) override {
        return pass_i(message);
    }
    using WriterPlugin::writeMessage;

private:
    template <typename Message>
    std::int32_t pass_i(const Message& message) {
        return each_i([&](WriterPlugin& writer) { return writer.writeMessage(message); });
    }

    template <typename Call>
    std::int32_t each_i(Call call) {
        std::vector<std::thread> threads;
        for (int i = 0; i < m_writers.count(); ++i) {
            threads.emplace_back([&, i] { call(m_writers[i]); });
            if (!m_inThreads) threads.back().join();
        }
        for (std::thread& thread : threads)
            if (thread.joinable()) thread.join();
        return 0;
    }

    bool m_inThreads;
    test::AllWriters m_writers;
};

// A log that all threads may write to.
class SharedLog : public test::CapturedLog {
public:
    void log(std::int32_t level, const char* text) override {
        const std::lock_guard lock(m_mutex);
        CapturedLog::log(level, text);
    }

private:
    std::mutex m_mutex;
};

std::string streamText() {
    std::string text = R"({"def":"quantity","id":1,"kind":1,"name":"Count","units":"#"}
{"def":"attribute","id":1,"name":"process","type":3}
{"def":"process","id":2,"pid":7,"path":"p"}
{"def":"entity","id":3,"name":"Core 0"}
{"def":"entity","id":4,"name":"Core 1","attributes":[[1,{"h":2}]]}
{"def":"descriptor","id":5,"name":"C0"}
{"def":"descriptor","id":6,"name":"some state without a color"}
{"def":"handle","id":7,"name":"v"}
{"def":"table","container":1,"id":1,"title":"t","handles":[7]}
)";
    const char* const types[] = {"SAMPLED_VALUE", "SAMPLED_DELTA", "SAMPLED_RESIDENCY",
                                 "TRACED_VALUE_TRANSITION", "TRACED_EVENT"};
    for (std::size_t i = 0; i < std::size(types); ++i)
        text += R"({"def":"metric","id":)" + std::to_string(10 + i) + R"(,"name":"M)" + std::to_string(i) +
                R"(","group":"g","quantity":1,"type":")" + types[i] + "\"}\n";
    text += R"({"msg":"system","tscMHz":1000,"cpuMHz":1000,"start":0,"stop":10000}
{"msg":"text","text":"a text"}
{"msg":"table","table":[1,1]}
)";
    for (int tick = 1; tick <= 40; ++tick) {
        for (std::size_t i = 0; i < std::size(types); ++i) {
            const std::string first = R"({"e":3,"d":5,"dur":9,"v":{"u":)" + std::to_string(tick) + "}}";
            const std::string second = R"(,{"e":4,"d":6,"dur":9,"v":{"u":)" + std::to_string(tick % 7) + "}}";
            text += R"({"msg":"metric","metric":)" + std::to_string(10 + i) + R"(,"t":)" +
                    std::to_string(tick * 10) + R"(,"data":[)" + first + (i < 3 ? second : "") + "]}\n";
        }
        text += R"({"msg":"row","table":[1,1],"cells":["1"]})"
                "\n";
    }
    return text;
}

void run(const std::string& folder, bool inThreads) {
    fs::remove_all(folder);
    fs::create_directory(folder);
    const fs::path before = fs::current_path();
    fs::current_path(folder);
    {
        test::StreamRunner runner;
        SharedLog log;
        runner.m_environment.m_infoLog = runner.m_environment.m_errorLog = &log;
        runner.m_environment.m_logLevel = 4;
        AllAtOnce writer(inThreads);
        runner.add(writer);
        runner.begin("run");
        EXPECT_TRUE(runner.feed(streamText())) << runner.m_error;
        runner.finish();
    }
    fs::current_path(before);
}

std::map<std::string, std::string> filesIn(const std::string& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        files[entry.path().filename()] = {std::istreambuf_iterator<char>(file),
                                          std::istreambuf_iterator<char>()};
    }
    return files;
}

TEST(Threads, OneForEachWriterGiveTheSameFiles) {
    // In a process of its own, as some of what writers number is numbered for the process.
    const pid_t child = fork();
    if (child == 0) {
        run("alone", false);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    run("together", true);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_EQ(status, 0);
    auto alone = filesIn("alone");
    auto together = filesIn("together");
    EXPECT_EQ(alone.size(), 8U + 1);  // the metadata of "phm-csv" besides
    // Its colors are drawn from the same numbers as the names of temporary files, which other writers draw,
    // too.
    EXPECT_EQ(alone.erase("run.pwr"), 1U);
    for (const auto& [name, bytes] : alone) EXPECT_TRUE(bytes == together[name]) << name;
}

}  // namespace
