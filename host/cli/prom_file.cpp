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
#include <iterator>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/base/text.h"
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
    std::string_view left = text;
    bool isWritten = file.isOpen();
    while (isWritten && !left.empty()) {
        const ssize_t n = ::write(file.get(), left.data(), left.size());
        isWritten = n >= 0 || errno == EINTR;
        if (n > 0) left.remove_prefix(static_cast<std::size_t>(n));
    }
    isWritten = isWritten && ::rename(temporary.c_str(), path.c_str()) == 0;
    if (isWritten) return true;
    const int reason = errno;
    if (file.isOpen()) ::unlink(temporary.c_str());
    base::complain("cannot write " + path + ": " + std::strerror(reason));
    return false;
}

// The process that makes the file: replays the lines through the writer into a folder of its own, and turns
// each result that comes of it into the file.
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
        feed_i(lines, run);
        // What the writer says of its results is of no interest: they are gone.
        const base::Descriptor silence(::open("/dev/null", O_WRONLY | O_CLOEXEC));
        const base::Descriptor own(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
        ::dup2(silence.get(), STDERR_FILENO);
        const int status = run.end();
        ::dup2(own.get(), STDERR_FILENO);
        update_i();
        return m_isGood ? status : base::EXIT_ERROR;
    }

private:
    void feed_i(int lines, session::Run& run) {
        std::FILE* const stream = ::fdopen(lines, "r");
        char* text = nullptr;
        std::size_t capacity = 0;
        std::uint64_t number = 0;
        for (ssize_t length; (length = ::getline(&text, &capacity, stream)) > 0;) {
            const std::string_view line(text, static_cast<std::size_t>(length) - 1);
            run.reader().line(line, ++number);
            if (line == R"({"msg":"flush"})") update_i();
        }
        std::free(text);
        std::fclose(stream);
    }

    void update_i() {
        std::vector<fs::path> results;
        for (const fs::directory_entry& entry : fs::directory_iterator(m_folder))
            if (entry.path().extension() == ".om") results.push_back(entry.path());
        std::sort(results.begin(), results.end(), [](const fs::path& a, const fs::path& b) {
            return std::pair(a.string().size(), a) < std::pair(b.string().size(), b);
        });
        for (const fs::path& result : results) {
            std::ifstream file(result, std::ios::binary);
            m_text.take(std::string{std::istreambuf_iterator<char>(file), {}});
            fs::remove(result);
        }
        if (!results.empty() && m_isGood) m_isGood = replaceFile(m_path, m_text.text());
    }

    std::string m_path;
    fs::path m_folder;
    PromText m_text;
    bool m_isGood = true;
};

// Without the labels that a scraper adds itself.
std::string withoutOrigin(std::string_view series) {
    std::string plain(series);
    for (const std::string_view label : {"host=\"", "run=\""}) {
        const std::size_t brace = plain.find('{');
        if (brace == std::string::npos || plain.compare(brace + 1, label.size(), label) != 0) continue;
        std::size_t end = brace + 1 + label.size();
        while (end < plain.size() && plain[end] != '"') end += plain[end] == '\\' ? 2 : 1;
        ++end;
        if (end < plain.size() && plain[end] == ',') ++end;
        plain.erase(brace + 1, end - brace - 1);
    }
    if (plain.ends_with("{}")) plain.resize(plain.size() - 2);
    return plain;
}

}  // namespace

void PromText::takeType_i(std::string_view line) {
    const std::size_t blank = line.find(' ');
    m_current = line.substr(0, blank);
    const std::string type(line.substr(blank + 1));
    const auto [family, isNew] = m_families.try_emplace(m_current);
    m_isNew = isNew;
    if (!isNew) return;
    m_names.push_back(m_current);
    family->second.name = m_current + (type == "counter" ? "_total" : "");
    family->second.head = "# TYPE " + family->second.name + " " + type + "\n";
}

void PromText::takeHelp_i(std::string_view line) {
    Family& family = m_families[m_current];
    family.head += "# HELP " + family.name + std::string(line.substr(line.find(' '))) + "\n";
}

// "SERIES VALUE STAMP"; the last one counts.
void PromText::takeSample_i(std::string_view line) {
    const std::size_t stamp = line.rfind(' ');
    const std::size_t value = stamp == std::string_view::npos ? stamp : line.rfind(' ', stamp - 1);
    if (value == std::string_view::npos || m_current.empty()) return;
    Family& family = m_families[m_current];
    std::string series = withoutOrigin(line.substr(0, value));
    const auto [entry, isNew] = family.values.try_emplace(series);
    if (isNew) family.series.push_back(std::move(series));
    entry->second = line.substr(value + 1, stamp - value - 1);
}

void PromText::take(std::string_view text) {
    for (std::string_view line; base::takeLine(text, line);) {
        if (line.starts_with("# TYPE "))
            takeType_i(line.substr(7));
        else if (line.starts_with("# HELP ") && m_isNew)
            takeHelp_i(line.substr(7));
        else if (!line.starts_with('#'))
            takeSample_i(line);
    }
}

std::string PromText::text() const {
    std::string all;
    for (const std::string& name : m_names) {
        const Family& family = m_families.at(name);
        all += family.head;
        for (const std::string& series : family.series)
            all.append(series).append(1, ' ').append(family.values.at(series)).append(1, '\n');
    }
    return all;
}

bool PromFile::open(const std::string& path, const std::vector<std::string>& plugins) {
    std::error_code error;
    const std::string absolute = fs::absolute(path, error).string();
    if (fs::is_directory(absolute, error)) {
        base::complain("cannot write " + path + ": Is a directory");
        return false;
    }
    if (!replaceFile(absolute, "")) return false;
    std::string folder = (fs::temp_directory_path(error) / "pwrhost_XXXXXX").string();
    int ends[2];
    if (::mkdtemp(folder.data()) == nullptr || ::pipe2(ends, O_CLOEXEC) != 0) {
        base::complain("cannot make a folder for temporary files: " + std::string(std::strerror(errno)));
        return false;
    }
    m_process = ::fork();
    if (m_process == 0) {
        ::close(ends[1]);
        // The recording ends it, not what ends the recording.
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) std::signal(signal, SIG_IGN);
        const int status = Maker(absolute, folder).work(ends[0], plugins);
        fs::remove_all(folder, error);
        ::_exit(status);
    }
    ::close(ends[0]);
    m_lines = base::Descriptor(ends[1]);
    if (m_process < 0) base::complain("cannot start a process for " + path + ": " + std::strerror(errno));
    return m_process > 0;
}

bool PromFile::line(std::string_view line) {
    std::string text(line);
    text.push_back('\n');
    std::string_view left = text;
    while (!left.empty()) {
        const ssize_t n = ::write(m_lines.get(), left.data(), left.size());
        if (n < 0 && errno != EINTR) return false;
        if (n > 0) left.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

bool PromFile::close() {
    m_lines = base::Descriptor();
    if (m_process <= 0) return true;
    int status = 0;
    while (::waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
    }
    m_process = 0;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace host::cli
