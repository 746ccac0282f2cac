// Measures pwrhost itself: how fast it reads a stream and results, and what recording costs the machine.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <x86intrin.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "bench/measure.h"

namespace {

// What a child process used.
struct Usage {
    double cpuSeconds = 0;
    double peakMiB = 0;
};

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "bench: %s\n", what.c_str());
    std::exit(1);
}

// Runs a program; `feed`, if given, writes its standard input.
Usage runProgram(const std::vector<std::string>& command, const std::function<void(std::FILE*)>& feed = {}) {
    int ends[2];
    if (pipe(ends) != 0) fail("cannot make a pipe");
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) fail("cannot fork");
    if (child == 0) {
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        close(ends[1]);
        std::vector<char*> arguments;
        for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    close(ends[0]);
    std::FILE* const input = fdopen(ends[1], "w");
    if (feed) feed(input);
    std::fclose(input);
    int status = 0;
    rusage used{};
    if (wait4(child, &status, 0, &used) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        fail(command[0] + " failed");
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return {seconds(used.ru_utime) + seconds(used.ru_stime), static_cast<double>(used.ru_maxrss) / 1024};
}

// A working directory of its own for as long as it lives, removed with all that is in it.
class WorkingFolder {
public:
    WorkingFolder() : m_before(std::filesystem::current_path()) {
        if (mkdtemp(m_path) == nullptr) fail("cannot make a working folder");
        std::filesystem::current_path(m_path);
    }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;
    ~WorkingFolder() {
        std::filesystem::current_path(m_before);
        std::filesystem::remove_all(m_path);
    }

private:
    char m_path[32] = "/tmp/host-bench-XXXXXX";
    std::filesystem::path m_before;
};

// Writes a stream of `elements` metric elements, about 100 bytes each, and returns its length in bytes.
std::uint64_t writeStream(std::FILE* file, std::uint64_t elements) {
    constexpr int ENTITIES = 16;
    std::uint64_t bytes = 0;
    const auto count = [&bytes](int written) {
        bytes += static_cast<std::uint64_t>(written > 0 ? written : 0);
    };
    for (int i = 1; i <= ENTITIES; ++i)
        count(std::fprintf(file, "{\"def\":\"entity\",\"id\":%d,\"name\":\"CPU %d\"}\n", i, i));
    count(std::fprintf(file,
                       "{\"def\":\"descriptor\",\"id\":100,\"name\":\"C6\"}\n"
                       "{\"def\":\"attribute\",\"id\":101,\"name\":\"Cause\",\"type\":1}\n"));
    count(
        std::fprintf(file,
                     "{\"def\":\"metric\",\"id\":10,\"name\":\"Residency\",\"type\":\"SAMPLED_RESIDENCY\"}\n"
                     "{\"msg\":\"system\",\"id\":1,\"tscMHz\":2400,\"cpuMHz\":2400,\"start\":1000,\"time\":"
                     "1700000000000000000}\n"));
    for (std::uint64_t i = 0; i < elements / ENTITIES; ++i) {
        count(std::fprintf(file, "{\"msg\":\"metric\",\"metric\":10,\"t\":%llu,\"data\":[",
                           static_cast<unsigned long long>(12638346702891 + i * 240000000)));
        for (int entity = 1; entity <= ENTITIES; ++entity)
            count(std::fprintf(file,
                               "%s{ \"e\": %d, \"d\": 100, \"dur\": %llu, \"v\": { \"u\": %llu }, "
                               "\"info\": [ [ 101, { \"i\": -%d } ] ] }",
                               entity == 1 ? "" : ",", entity, 240000000ULL + i % 1000,
                               static_cast<unsigned long long>(i * 7919 % 240000000), entity));
        count(std::fprintf(file, "]}\n"));
    }
    return bytes;
}

double writeStream(const std::string& path, std::uint64_t elements) {
    std::FILE* const file = std::fopen(path.c_str(), "w");
    if (file == nullptr) fail("cannot make " + path);
    const std::uint64_t bytes = writeStream(file, elements);
    if (std::fclose(file) != 0) fail("cannot write " + path);
    return static_cast<double>(bytes);
}

void benchReader(const std::string& pwrhost, std::uint64_t elements, unsigned rounds) {
    const std::string path = std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") +
                             "/host-bench-" + std::to_string(getpid());
    const double bytes = writeStream(path, elements);
    std::vector<double> rates;
    double peak = 0;
    for (unsigned i = 0; i < rounds; ++i) {
        const Usage used = runProgram({pwrhost, "replay", "-w", "none", "--no-progress", path});
        rates.push_back(bytes / 1e6 / used.cpuSeconds);
        peak = used.peakMiB;
    }
    std::filesystem::remove(path);
    const bench::Spread rate = bench::spreadOf(rates);
    std::printf(
        "stream reader, %.0f MB with %llu elements: %.0f MB/s of CPU time (%.0f to %.0f), peak %.1f MiB\n",
        bytes / 1e6, static_cast<unsigned long long>(elements), rate.median, rate.min, rate.max, peak);
}

// Reads results of each kind back, and says what making the stream of them and reading that costs.
void benchResults(const std::string& pwrhost, std::uint64_t elements, unsigned rounds) {
    const WorkingFolder folder;
    writeStream("run.ndjson", elements);
    runProgram({pwrhost, "replay", "--quiet", "--no-progress", "--log-level", "0", "-w", "bin,json,vyrta",
                "-o", "run", "run.ndjson"});
    for (const char* result : {"run.ztbin", "run.ztjson", "run.pwr"}) {
        std::vector<double> rates;
        double peak = 0;
        for (unsigned i = 0; i < rounds; ++i) {
            const Usage used =
                runProgram({pwrhost, "replay", "--quiet", "--no-progress", "-w", "none", result});
            rates.push_back(static_cast<double>(elements) / 1e6 / used.cpuSeconds);
            peak = used.peakMiB;
        }
        const bench::Spread rate = bench::spreadOf(rates);
        std::printf(
            "%s read back: %.2f million elements per second of CPU time (%.2f to %.2f), peak %.1f MiB\n",
            result, rate.median, rate.min, rate.max, peak);
    }
}

void benchPipe(const std::string& pwrhost, std::uint64_t elements) {
    double bytes = 0;
    const Usage used =
        runProgram({pwrhost, "replay", "-w", "none", "--no-progress", "-"},
                   [&](std::FILE* input) { bytes = static_cast<double>(writeStream(input, elements)); });
    std::printf("stream from a pipe, %.0f MB: %.0f MB/s of CPU time, peak %.1f MiB\n", bytes / 1e6,
                bytes / 1e6 / used.cpuSeconds, used.peakMiB);
}

// From a stream to results, by each writer alone and by all of them.
void benchWriters(const std::string& pwrhost, std::uint64_t elements) {
    const WorkingFolder folder;
    const double bytes = writeStream("run.ndjson", elements);
    std::printf("replay of a stream of %.0f MB with %llu elements\n", bytes / 1e6,
                static_cast<unsigned long long>(elements));
    for (const char* writers : {"none", "sum", "auto", "int", "raw", "phm-csv", "vyrta", "json", "bin",
                                "long", "perfetto", "openmetrics", "html", "all"}) {
        std::filesystem::create_directory("results");
        const Usage used = runProgram({pwrhost, "replay", "--quiet", "--no-progress", "--log-level", "0",
                                       "-w", writers, "-o", std::string("results/") + writers, "run.ndjson"});
        std::printf("  %-12s %7.2f s of CPU time, peak %7.1f MiB\n", writers, used.cpuSeconds, used.peakMiB);
        std::fflush(stdout);
        std::filesystem::remove_all("results");
    }
}

// The share of one CPU that a collection of `seconds` takes, without and with writers.
void benchRecorder(const std::string& pwrhost, double seconds) {
    const WorkingFolder folder;
    const auto share = [&](const char* writers) {
        const Usage used = runProgram({pwrhost, "record", "-w", writers, "--no-progress", "--interval", "100",
                                       "--seconds", std::to_string(seconds), "--log-level", "0"});
        return 100 * used.cpuSeconds / seconds;
    };
    const double recorder = share("none");
    const double everything = share("all");
    std::printf("recording every 100 ms for %.0f s: recorder %.2f %% of one CPU, all eight writers %.2f %%\n",
                seconds, recorder, everything > recorder ? everything - recorder : 0.0);
}

// The number behind `key` in a line of a stream.
double numberAfter(const std::string& line, const std::string& key) {
    const std::size_t at = line.find(key);
    if (at == std::string::npos) fail("a recording has no " + key);
    return std::strtod(line.c_str() + at + key.size(), nullptr);
}

// Milliseconds from the start of the program to the moment from which a recording counts, by the time stamp
// counter, which the saved stream holds.
double startupMs(const std::string& pwrhost) {
    const std::uint64_t before = __rdtsc();
    runProgram({pwrhost, "record", "-w", "none", "--no-progress", "--quiet", "--seconds", "0.001",
                "--log-level", "0", "--save", "run.ndjson"});
    std::ifstream stream("run.ndjson");
    std::string line;
    while (std::getline(stream, line) && line.find("\"tscMHz\":") == std::string::npos) continue;
    const double ticks = numberAfter(line, "\"start\":") - static_cast<double>(before);
    return ticks / numberAfter(line, "\"tscMHz\":") / 1000;
}

// How long a recording takes to begin. What is held is the least of all: other programs only make it longer.
void benchStartup(const std::string& pwrhost, double atMostMs) {
    constexpr int ROUNDS = 15;
    // Where the kernel does not tell the counter's frequency, it is measured for so long.
    const bool isGiven = access("/sys/devices/system/cpu/cpu0/tsc_freq_khz", R_OK) == 0;
    const double clockMs = isGiven ? 0 : 50;
    const WorkingFolder folder;
    std::vector<double> times;
    for (int i = 0; i < ROUNDS; ++i) times.push_back(startupMs(pwrhost) - clockMs);
    const bench::Spread time = bench::spreadOf(times);
    std::printf(
        "startup of a recording: %.1f ms (%.1f to %.1f), and %.0f ms to measure the clock; at most %.0f\n",
        time.median, time.min, time.max, clockMs, atMostMs);
    if (time.min > atMostMs) fail("a recording takes too long to begin");
}

}  // namespace

int main(int argc, char** argv) {
    std::string pwrhost = (std::filesystem::canonical("/proc/self/exe").parent_path() / "pwrhost").string();
    std::uint64_t elements = 1000000;
    std::uint64_t pipeElements = 10000000;
    std::uint64_t replayElements = 10000000;
    unsigned rounds = 5;
    double seconds = 5;
    double startup = 30;
    CLI::App app(
        "Measures pwrhost: reading a stream from a file and from a pipe, reading results, giving a stream to "
        "each "
        "writer, and recording this machine.");
    app.add_option("--pwrhost", pwrhost, "the program")->capture_default_str();
    app.add_option("--elements", elements, "elements of the stream in a file")->capture_default_str();
    app.add_option("--pipe-elements", pipeElements, "elements of the stream in a pipe")
        ->capture_default_str();
    app.add_option("--replay-elements", replayElements, "elements of the stream that goes to each writer")
        ->capture_default_str();
    app.add_option("--rounds", rounds, "how often the file is read")->capture_default_str();
    app.add_option("--seconds", seconds, "length of a collection")->capture_default_str();
    app.add_option("--startup-ms", startup, "how long a recording may take to begin, less the clock")
        ->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    benchReader(pwrhost, elements, rounds);
    benchResults(pwrhost, elements, rounds);
    benchPipe(pwrhost, pipeElements);
    benchWriters(pwrhost, replayElements);
    benchRecorder(pwrhost, seconds);
    benchStartup(pwrhost, startup);
    return 0;
}
