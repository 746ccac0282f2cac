#include "host/cli/prom_file.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/base/pipe.h"
#include "host/base/transfer.h"
#include "host/cli/prom_text.h"
#include "host/session/run.h"

namespace host::cli {

namespace {

namespace fs = std::filesystem;

// Replaces the file as a whole: who reads it meanwhile sees the one before. The name on the way does not end
// as those that a collector takes.
bool replaceFile(const std::string& path, const std::string& text) {
    const std::string temporary = path + "." + std::to_string(::getpid()) + ".tmp";
    base::Descriptor file(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0666));
    const bool isWritten = file.isOpen() && base::writeAll(file.get(), text) == 0 &&
                           ::rename(temporary.c_str(), path.c_str()) == 0;
    if (isWritten) return true;
    const int reason = errno;
    if (file.isOpen()) ::unlink(temporary.c_str());
    base::complain("cannot write " + path + ": " + std::strerror(reason));
    return false;
}

// In the exit status of the process of a part: another part follows.
constexpr int IS_MORE = 0x40;

// The process that makes the file in a part: replays the lines through the writer into a folder of its own,
// and turns each result that comes of it into the file.
class Maker {
public:
    Maker(std::string path, fs::path folder) : m_path(std::move(path)), m_folder(std::move(folder)) {}

    int work(int lines, const std::vector<std::string>& plugins) {
        session::Run run;
        session::RunOptions options;
        options.m_writers = "openmetrics";
        options.m_plugins = plugins;
        options.m_isContinuous = true;
        options.m_output = (m_folder / "state").string();
        options.m_logLevel = 0;
        options.m_isQuiet = true;
        ::unsetenv("PWR_LABELS");
        if (!run.open(options)) return base::EXIT_ERROR;
        if (!run.begin()) return base::EXIT_ERROR;
        const fs::path former = m_folder / "former";
        m_text.continueFrom(base::fileText(former));
        const bool isMore = feed_i(lines, run);
        // What the writer says of its results is of no interest: they are gone.
        const base::Descriptor silence(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        const base::Descriptor own(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
        ::dup2(silence.get(), STDERR_FILENO);
        const int status = run.end();
        ::dup2(own.get(), STDERR_FILENO);
        update_i();
        if (isMore) std::ofstream(former, std::ios::binary) << m_text.text();
        return (m_isGood ? status : int{base::EXIT_ERROR}) | (isMore ? IS_MORE : 0);
    }

private:
    // Until an empty line ends the part, which nothing follows before this process has ended, or the lines
    // end. Returns whether it was the former.
    bool feed_i(int lines, session::Run& run) {
        std::FILE* const stream = ::fdopen(lines, "r");
        char* text = nullptr;
        std::size_t capacity = 0;
        std::uint64_t number = 0;
        bool isMore = false;
        for (ssize_t length; !isMore && (length = ::getline(&text, &capacity, stream)) > 0;) {
            const std::string_view line(text, static_cast<std::size_t>(length) - 1);
            isMore = line.empty();
            if (!isMore) run.reader().line(line, ++number);
            if (line == R"({"msg":"flush"})") update_i();
        }
        std::free(text);
        std::fclose(stream);
        return isMore;
    }

    void update_i() {
        std::vector<fs::path> results;
        for (const fs::directory_entry& entry : fs::directory_iterator(m_folder))
            if (entry.path().extension() == ".om") results.push_back(entry.path());
        std::sort(results.begin(), results.end(), [](const fs::path& a, const fs::path& b) {
            return std::pair(a.string().size(), a) < std::pair(b.string().size(), b);
        });
        for (const fs::path& result : results) {
            m_text.take(base::fileText(result));
            fs::remove(result);
        }
        if (!results.empty() && m_isGood) m_isGood = replaceFile(m_path, m_text.text());
    }

    std::string m_path;
    fs::path m_folder;
    PromText m_text;
    bool m_isGood = true;
};

bool waitFor(pid_t process, int& status) {
    pid_t ended = -1;
    while ((ended = ::waitpid(process, &status, 0)) < 0 && errno == EINTR) {
    }
    return ended == process && WIFEXITED(status);
}

// Starts a process for each part, one after the other, and writes a byte to `ends` when one that is not the
// last has ended. Returns 0, or the worst that one ended with.
int makeParts(const std::string& path, const fs::path& folder, int lines, int ends,
              const std::vector<std::string>& plugins) {
    int worst = 0;
    for (bool isMore = true; isMore;) {
        const pid_t maker = ::fork();
        if (maker == 0) ::_exit(Maker(path, folder).work(lines, plugins));
        int status = 0;
        if (maker < 0 || !waitFor(maker, status)) return base::EXIT_ERROR;
        worst = std::max(worst, WEXITSTATUS(status) & ~IS_MORE);
        isMore = (WEXITSTATUS(status) & IS_MORE) != 0 && ::write(ends, "", 1) == 1;
    }
    return worst;
}

}  // namespace

bool PromFile::open(const std::string& path, const std::vector<std::string>& plugins) {
    std::error_code error;
    const std::string absolute = fs::absolute(path, error).string();
    const fs::file_status there = fs::status(absolute, error);
    // A device would be replaced, too.
    if (fs::exists(there) && !fs::is_regular_file(there)) {
        base::complain("cannot write " + path +
                       (fs::is_directory(there) ? ": Is a directory" : ": Not a regular file"));
        return false;
    }
    if (!replaceFile(absolute, "")) return false;
    std::string folder = (fs::temp_directory_path(error) / "pwrhost_XXXXXX").string();
    base::Pipe lines;
    base::Pipe ends;
    if (::mkdtemp(folder.data()) == nullptr || !lines.open() || !ends.open()) {
        base::complain("cannot make a folder for temporary files: " + std::string(std::strerror(errno)));
        return false;
    }
    m_lines = std::move(lines.writing);
    m_ends = std::move(ends.reading);
    // What an ignored signal leaves behind can't be waited for.
    std::signal(SIGCHLD, SIG_DFL);
    m_process = ::fork();
    if (m_process == 0) {
        m_lines = base::Descriptor();
        // The recording ends it, not what ends the recording.
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) std::signal(signal, SIG_IGN);
        const int status = makeParts(absolute, folder, lines.reading.get(), ends.writing.get(), plugins);
        fs::remove_all(folder, error);
        ::_exit(status);
    }
    if (m_process < 0) base::complain("cannot start a process for " + path + ": " + std::strerror(errno));
    return m_process > 0;
}

bool PromFile::line(std::string_view line) {
    const bool isHead = line.starts_with(R"({"msg":"system")");
    if (isHead && std::exchange(m_hasPart, true) && !endPart_i()) return false;
    return base::writeAll(m_lines.get(), std::string(line) + "\n") == 0;
}

bool PromFile::endPart_i() {
    if (base::writeAll(m_lines.get(), "\n") != 0) return false;
    char end = 0;
    ssize_t n = 0;
    while ((n = ::read(m_ends.get(), &end, 1)) < 0 && errno == EINTR) {
    }
    return n == 1;
}

bool PromFile::close() {
    m_lines = base::Descriptor();
    if (m_process <= 0) return true;
    int status = 0;
    return waitFor(std::exchange(m_process, 0), status) && WEXITSTATUS(status) == 0;
}

}  // namespace host::cli
