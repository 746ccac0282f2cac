#include "bench/measure.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

namespace bench {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& name, const char* what) {
    std::fprintf(stderr, "bench: %s: %s\n", name.c_str(), what);
    std::exit(1);
}

fs::path makeFolder() {
    const char* base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    std::string pattern = std::string(base) + "/writer-bench-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) fail("folder", "cannot make a working folder");
    return pattern;
}

double filesIn(const fs::path& folder) {
    double bytes = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        // Files whose names start like this are spools of writers that are not destroyed yet.
        if (entry.is_regular_file() && !entry.path().filename().string().starts_with('_'))
            bytes += static_cast<double>(entry.file_size());
    return bytes;
}

// Resident memory that belongs to this process alone, from a line of /proc/self/status in KiB.
double statusBytes(const char* key) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        double kib = 0;
        if (word == key && status >> kib) return kib * 1024;
    }
    return 0;
}

void resetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

Cost runInFolder(const fs::path& folder, const std::function<void(Cost&)>& work) {
    fs::current_path(folder);
    resetPeak();
    const double before = statusBytes("VmRSS:");
    Cost cost;
    work(cost);
    cost.peakBytes = std::max(0.0, statusBytes("VmHWM:") - before);
    cost.bytes = filesIn(folder);
    return cost;
}

}  // namespace

Spread spreadOf(std::vector<double> figures) {
    if (figures.empty()) return {};
    std::sort(figures.begin(), figures.end());
    const std::size_t middle = figures.size() / 2;
    const double median =
        figures.size() % 2 != 0 ? figures[middle] : (figures[middle - 1] + figures[middle]) / 2;
    return {median, figures.front(), figures.back()};
}

double cpuNs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

double bytesWritten() {
    std::ifstream counters("/proc/self/io");
    std::string key;
    double bytes = 0;
    while (counters >> key >> bytes)
        if (key == "wchar:") return bytes;
    return 0;
}

std::size_t openSpools() {
    const std::string folder = fs::current_path().string() + "/";
    std::size_t spools = 0;
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = fs::read_symlink(entry.path(), error).string();
        struct stat status {};
        const bool isSpool = !error && target.starts_with(folder) &&
                             stat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
                             status.st_size > 0;
        if (isSpool) ++spools;
    }
    return spools;
}

Cost measureInChild(const std::string& name, const std::function<void(Cost&)>& work) {
    const fs::path folder = makeFolder();
    int ends[2];
    if (pipe(ends) != 0) fail(name, "cannot make a pipe");
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) fail(name, "cannot fork");
    if (child == 0) {
        const Cost cost = runInFolder(folder, work);
        const bool sent = write(ends[1], &cost, sizeof cost) == static_cast<ssize_t>(sizeof cost);
        _exit(sent ? 0 : 1);
    }
    close(ends[1]);
    Cost cost;
    const bool received = read(ends[0], &cost, sizeof cost) == static_cast<ssize_t>(sizeof cost);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    fs::remove_all(folder);
    if (!received || !WIFEXITED(status) || WEXITSTATUS(status) != 0) fail(name, "the child process failed");
    return cost;
}

}  // namespace bench
