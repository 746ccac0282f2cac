// Where bytes come from and go to: lines of a file descriptor, logs, output handles.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "host/base/descriptor_bytes.h"
#include "host/base/stop_signal.h"
#include "host/model/environment.h"
#include "host/model/loggers.h"
#include "host/stream/line_source.h"
#include "pwr/utilities.h"
#include "tests/support/stream_runner.h"

namespace {

std::vector<std::string> linesOf(host::stream::LineSource& source) {
    std::vector<std::string> lines;
    char* text = nullptr;
    std::size_t size = 0;
    while (source.next(text, size)) {
        lines.emplace_back(text, size);
        EXPECT_EQ(lines.size(), source.lineNumber());
        text[size] = '\0';  // as the parser does
    }
    return lines;
}

// Sends `text` through a pipe in pieces of random sizes and returns the lines at the other end.
std::vector<std::string> linesThroughPipe(const std::string& text, unsigned seed) {
    int ends[2];
    EXPECT_EQ(0, ::pipe(ends));
    std::thread sender([&] {
        std::mt19937 random(seed);
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t piece = std::min<std::size_t>(text.size() - at, random() % 70000 + 1);
            const ssize_t sent = ::write(ends[1], text.data() + at, piece);
            if (sent <= 0) break;
            at += static_cast<std::size_t>(sent);
        }
        ::close(ends[1]);
    });
    host::base::DescriptorBytes bytes(ends[0]);
    host::stream::LineSource source(bytes);
    const auto lines = linesOf(source);
    sender.join();
    ::close(ends[0]);
    EXPECT_EQ(text.size(), source.bytesRead());
    return lines;
}

TEST(LineSource, LinesDoNotDependOnHowTheyArrive) {
    std::mt19937 random(7);
    std::vector<std::string> lines;
    std::string text;
    for (int i = 0; i < 300; ++i) {
        const std::size_t length = i % 100 == 50 ? 600000 : random() % 3000;
        lines.push_back(std::string(length, static_cast<char>('a' + i % 26)));
        text += lines.back() + "\n";
    }
    for (unsigned seed = 0; seed < 5; ++seed) {
        EXPECT_EQ(lines, linesThroughPipe(text, seed));
        EXPECT_EQ(lines, linesThroughPipe(text.substr(0, text.size() - 1), seed));
    }
    EXPECT_EQ((std::vector<std::string>{}), linesThroughPipe("", 0));
    EXPECT_EQ((std::vector<std::string>{"", "x\r", ""}), linesThroughPipe("\nx\r\n\n", 0));
}

TEST(LineSource, ASignalEndsAWaitForInput) {
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    ASSERT_EQ(18, ::write(ends[1], "whole line\nhalf of", 18));
    const host::base::StopSignal stop;
    std::thread killer([] {
        ::usleep(50000);
        ::kill(::getpid(), SIGTERM);
    });
    host::base::DescriptorBytes bytes(ends[0], &stop);
    host::stream::LineSource source(bytes, &stop);
    EXPECT_EQ(std::vector<std::string>{"whole line"}, linesOf(source));
    killer.join();
    EXPECT_TRUE(stop.isRequested());
    EXPECT_STREQ("SIGTERM", stop.name());
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(LineSource, AFailedReadIsAnError) {
    const int folder = ::open(".", O_RDONLY);
    host::base::DescriptorBytes bytes(folder);
    host::stream::LineSource source(bytes);
    EXPECT_TRUE(linesOf(source).empty());
    EXPECT_EQ("Is a directory", source.error());
    ::close(folder);
}

class Output : public testing::Test {
protected:
    Output() : m_environment(m_errorLog, m_infoLog), m_folder(std::filesystem::absolute("output")) {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
    }
    ~Output() override { std::filesystem::remove_all(m_folder); }

    std::string path(const std::string& name) const { return (m_folder / name).string(); }

    // Flushes as writers do.
    void flush(const std::string& name, const std::string& text) {
        pwr::Logger* const handle = g_pluginEnvironment->getFileOutputHandle(path(name).c_str());
        handle->m_buffer.insert(handle->m_buffer.end(), text.begin(), text.end());
        handle->flush();
        handle->m_buffer.clear();
        handle->m_writeCount = 0;
        handle->close();
    }

    // The same in a run of its own.
    void flushAnew(const std::string& name, const std::string& text) {
        host::model::Environment run(m_errorLog, m_infoLog);
        pwr::Logger* const handle = run.outputHandle(path(name));
        handle->m_buffer.assign(text.begin(), text.end());
        handle->flush();
    }

    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder))
            result.push_back(entry.path().filename().string());
        std::sort(result.begin(), result.end());
        return result;
    }

    test::CapturedLog m_errorLog;
    test::CapturedLog m_infoLog;
    host::model::Environment m_environment;
    std::filesystem::path m_folder;
};

TEST_F(Output, TheFirstFlushTruncatesAndLaterOnesAppend) {
    std::ofstream(path("a")) << "from an earlier run, and longer";
    flush("a", "one");
    EXPECT_EQ("one", read("a"));
    flush("b", "");
    flush("a", std::string("t\0o", 3));
    EXPECT_EQ(std::string("onet\0o", 6), read("a"));
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), names());
    EXPECT_EQ(g_pluginEnvironment->getFileOutputHandle("x"), g_pluginEnvironment->getFileOutputHandle("x"));
    pwr::Logger* const run = g_pluginEnvironment->getFileOutputHandle("");
    run->m_buffer = {'x'};
    run->flush();
    EXPECT_EQ(0, run->finish());
    EXPECT_EQ(0U, m_environment.outputFailures());
    struct stat status {};
    ASSERT_EQ(0, ::stat(path("a").c_str(), &status));
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(0666U & ~mask, status.st_mode & 0777U);
}

TEST_F(Output, PlantedNamesAreRefusedAndLogged) {
    std::ofstream(path("victim")) << "untouched";
    std::filesystem::create_symlink("victim", path("link"));
    std::filesystem::create_directory(path("folder"));
    ASSERT_EQ(0, ::mkfifo(path("pipe").c_str(), 0600));
    const auto before = names();
    const std::pair<const char*, const char*> cases[] = {
        {"link", "Too many levels of symbolic links"},
        {"folder", "Is a directory"},
        {"pipe", "File exists"},
        {"missing/file", "No such file or directory"},
    };
    std::string expected;
    for (const auto& [name, reason] : cases) {
        flush(name, "bytes");
        expected += "ERROR: Could not write " + path(name) + ": " + reason + "\n";
    }
    EXPECT_EQ(expected, m_errorLog.text());
    EXPECT_EQ(4U, m_environment.outputFailures());
    EXPECT_EQ("untouched", read("victim"));
    EXPECT_EQ(before, names());
}

TEST_F(Output, AFileThatIsReplacedKeepsItsModeAndANameMayBeAsLongAsNamesAre) {
    const std::string longest(255, 'n');
    for (const std::string& name : {std::string("a"), longest}) {
        flush(name, "new");
        EXPECT_EQ("new", read(name));
    }
    std::filesystem::remove(path("a"));
    std::ofstream(path("a")) << "from an earlier run";
    ASSERT_EQ(0, ::chmod(path("a").c_str(), 0640));
    flushAnew("a", "bytes");
    struct stat status {};
    ASSERT_EQ(0, ::stat(path("a").c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 07777U);
    EXPECT_EQ("bytes", read("a"));
    EXPECT_EQ((std::vector<std::string>{"a", longest}), names());
}

TEST_F(Output, AFileThatMayBeWrittenIsWrittenWhereNoneMayBeMadeBesideIt) {
    std::ofstream(path("a")) << "from an earlier run, and longer";
    ASSERT_EQ(0, ::chmod(path("a").c_str(), 0666));
    ASSERT_EQ(0, ::chmod(m_folder.c_str(), 0555));
    const uid_t user = ::geteuid();
    ASSERT_EQ(0, ::seteuid(user == 0 ? 65534 : user));  // one whom modes bind
    flush("a", "bytes");
    flush("new", "bytes");
    ASSERT_EQ(0, ::seteuid(user));
    ASSERT_EQ(0, ::chmod(m_folder.c_str(), 0755));
    EXPECT_EQ("bytes", read("a"));
    EXPECT_EQ("ERROR: Could not write " + path("new") + ": Permission denied\n", m_errorLog.text());
    EXPECT_EQ(std::vector<std::string>{"a"}, names());
}

TEST_F(Output, ResultsLieInTheirFolderAndTemporaryFilesInTheWorkingDirectory) {
    std::filesystem::create_directories(m_folder / "home/sub");
    std::filesystem::create_directories(m_folder / "work");
    const auto before = std::filesystem::current_path();
    const int home = ::open(path("home").c_str(), O_PATH | O_DIRECTORY);
    std::filesystem::current_path(m_folder / "work");
    host::model::Results& results = m_environment.results();
    results.setFolder(home, path("home"));
    for (const char* name : {"kept.csv", "sub/kept.csv", "sub/gone.csv", "gone.csv", "x.tmp"}) {
        FILE* file = nullptr;
        ASSERT_TRUE(pwr::openFileHandle(&file, name, "wb"));
        std::fputs(name, file);
        std::fclose(file);
    }
    pwr::Logger* const handle = g_pluginEnvironment->getFileOutputHandle("handle");
    handle->m_buffer = {'h'};
    handle->flush();
    // A writer may take back what it has made, by its name.
    EXPECT_EQ(0, std::remove("gone.csv"));
    EXPECT_EQ(0, std::remove("sub/gone.csv"));
    EXPECT_EQ(0, std::remove("x.tmp"));
    results.settle();
    EXPECT_EQ("kept.csv", read("home/kept.csv"));
    std::vector<std::string> made;
    for (const auto& result : results.made()) made.push_back(result.path + std::to_string(result.size));
    EXPECT_EQ((std::vector<std::string>{"kept.csv8", "sub/kept.csv12", "handle1"}), made);
    EXPECT_TRUE(std::filesystem::is_empty("."));
    EXPECT_FALSE(std::filesystem::exists(path("home/gone.csv")) ||
                 std::filesystem::exists(path("home/sub/gone.csv")));
    std::filesystem::current_path(before);
    ::close(home);
}

TEST_F(Output, AFullDiskLeavesWhatWasCompleteAndNothingElse) {
    flush("a", "complete");
    rlimit old{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &old));
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = old;
    small.rlim_cur = 10;
    ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &small));
    flush("a", "too much for the disk");
    flush("b", "too much for the disk");
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_EQ("complete", read("a"));
    EXPECT_EQ(std::vector<std::string>{"a"}, names());
    EXPECT_EQ("ERROR: Could not write " + path("a") + ": File too large\nERROR: Could not write " +
                  path("b") + ": File too large\n",
              m_errorLog.text());
    flush("b", "later");
    EXPECT_EQ("later", read("b"));
}

TEST(Logs, TextsGoOutAsGivenAndAtOnce) {
    int ends[2];
    ASSERT_EQ(0, ::pipe(ends));
    host::model::DescriptorLogger log(ends[1]);
    const auto read = [&] {
        char text[64];
        const ssize_t size = ::read(ends[0], text, sizeof text);
        return std::string(text, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    };
    log.log(4, "INFO: no newline");
    EXPECT_EQ("INFO: no newline", read());
    log << "stream " << 5 << '\n';
    EXPECT_EQ("stream 5\n", read());
    EXPECT_EQ(0, log.error());

    const int full = ::open("/dev/full", O_WRONLY);
    host::model::DescriptorLogger lost(full);
    lost.log(1, "text");
    EXPECT_EQ(ENOSPC, lost.error());
    ::close(full);
    ::close(ends[0]);
    ::close(ends[1]);
}

}  // namespace
