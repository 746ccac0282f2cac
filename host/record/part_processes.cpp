#include "host/record/part_processes.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include "host/base/exit_status.h"
#include "host/base/pipe.h"
#include "host/base/text.h"
#include "host/base/transfer.h"
#include "host/base/user_folder.h"
#include "host/record/local_output.h"

namespace host::record {

namespace {

// Adds what can be read to `held`. Returns its length, 0 at the end, less after an error.
ssize_t readMore(int file, std::string& held) {
    char buffer[65536];
    ssize_t n = 0;
    while ((n = ::read(file, buffer, sizeof buffer)) < 0 && errno == EINTR) {
    }
    if (n > 0) held.append(buffer, static_cast<std::size_t>(n));
    return n;
}

// Holds what comes through a pipe, so that its writer need not wait, until `go` can be read.
void holdLines(int file, int go, std::string& held) {
    pollfd files[] = {{go, POLLIN, 0}, {file, POLLIN, 0}};
    while (files[0].revents == 0) {
        if (::poll(files, 2, -1) < 0) continue;
        if (files[1].revents != 0 && readMore(file, held) <= 0) files[1].fd = -1;
    }
}

// Hands out the lines that are held and then those of a pipe until it ends; false when they are not wanted.
bool feedLines(int file, std::string held, const emit::LineSink& sink) {
    ssize_t more = 1;
    for (; more > 0; more = readMore(file, held)) {
        std::size_t start = 0;
        for (std::size_t end; (end = held.find('\n', start)) != std::string::npos; start = end + 1)
            if (!sink(std::string_view(held).substr(start, end - start))) return false;
        held.erase(0, start);
    }
    return more == 0;
}

std::string suffixOf(unsigned number) {
    char text[16];
    std::snprintf(text, sizeof text, ".%04u", number);
    return text;
}

}  // namespace

std::string partName(const std::string& path, const std::string& suffix) {
    const std::size_t name = path.rfind('/') + 1;
    std::string_view stem = path;
    if (stem.ends_with(".zst")) stem.remove_suffix(4);
    const std::size_t dot = stem.rfind('.');
    const std::size_t at = dot == std::string_view::npos || dot <= name ? stem.size() : dot;
    return path.substr(0, at) + suffix + path.substr(at);
}

PartProcesses::PartProcesses(Deliverer deliverer, std::string save, std::size_t keep, Warn warn)
    : m_deliverer(std::move(deliverer)), m_save(std::move(save)), m_keep(keep), m_warn(std::move(warn)) {
    // What an ignored signal leaves behind can't be waited for.
    std::signal(SIGCHLD, SIG_DFL);
}

PartProcesses::~PartProcesses() {
    close();
    reap(true);
}

void PartProcesses::deliver(Part& part) {
    std::string nothing;
    start_i([&nothing](int go) { readMore(go, nothing); },
            [&part](const emit::LineSink& sink) { return part.deliver(sink); });
}

emit::LineSink PartProcesses::open() {
    base::Pipe lines;
    if (!lines.open()) {
        m_warn(std::string("Unable to start a part: ") + std::strerror(errno));
        m_status = base::EXIT_ERROR;
        return [](std::string_view) { return false; };
    }
    m_lines = std::move(lines.writing);
    std::string held;
    start_i(
        [&](int go) {
            m_lines = base::Descriptor();  // the recorder's end, whose closing ends the part
            holdLines(lines.reading.get(), go, held);
        },
        [&](const emit::LineSink& sink) { return feedLines(lines.reading.get(), std::move(held), sink); });
    return [this](std::string_view line) {
        return base::writeAll(m_lines.get(), std::string(line) + "\n") == 0;
    };
}

void PartProcesses::close() {
    m_lines = base::Descriptor();
}

void PartProcesses::start_i(const std::function<void(int)>& await,
                            const std::function<bool(const emit::LineSink&)>& feed) {
    const std::string suffix = suffixOf(++m_number);
    // Not a pipe: nobody reads the names before the process has ended, and they may be many.
    base::Descriptor report(::memfd_create("names", MFD_CLOEXEC));
    base::Pipe go;
    const pid_t process = report.isOpen() && go.open() ? ::fork() : -1;
    if (process < 0) {
        m_warn("Unable to start part " + suffix.substr(1) + ": " + std::strerror(errno));
        m_status = base::EXIT_ERROR;
        return;
    }
    if (process == 0) {
        go.writing = base::Descriptor();
        m_running.clear();  // so that the end of the recorder ends every wait
        await(go.reading.get());
        const int status = work_i(suffix, feed, report.get());
        std::fflush(nullptr);
        ::_exit(status);
    }
    m_running.push_back({process, suffix, std::move(report), std::move(go.writing)});
    letBegin_i();
}

void PartProcesses::letBegin_i() {
    std::size_t onDisk = m_ended.size();
    for (Running& part : m_running) {
        if (part.go.isOpen() && m_keep != 0 && onDisk > m_keep) return;
        ++onDisk;
        if (part.go.isOpen()) base::writeAll(part.go.get(), "g");
        part.go = base::Descriptor();
    }
}

int PartProcesses::work_i(const std::string& suffix, const std::function<bool(const emit::LineSink&)>& feed,
                          int report) {
    const std::string save = m_save.empty() ? "" : partName(m_save, suffix);
    if (!m_deliverer.begin(suffix)) return base::EXIT_ERROR;
    LocalOutput output(save, m_deliverer.line, m_warn);
    const bool isWhole = feed([&](std::string_view line) { return output.line(line); });
    const bool isOpen = output.open();
    const RecordResult result = output.finish(isWhole);
    const int status = m_deliverer.end();
    std::string names;
    for (const std::string& name : m_deliverer.results())
        if (name.find(suffix) != std::string::npos) names += name + "\n";
    if (!save.empty() && isOpen) names += save + "\n";
    base::writeAll(report, names);
    return result == RecordResult::Complete && isOpen ? status : base::EXIT_ERROR;
}

void PartProcesses::reap(bool wait) {
    while (!m_running.empty()) {
        int status = 0;
        const pid_t ended = ::waitpid(m_running.front().process, &status, wait ? 0 : WNOHANG);
        if (ended < 0 && errno == EINTR) continue;
        if (ended == 0) return;
        complete_i(m_running.front(), ended < 0 ? 0x100 : status);
        m_running.pop_front();
        letBegin_i();
    }
}

void PartProcesses::complete_i(Running& part, int waitStatus) {
    const int status = WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : base::EXIT_ERROR;
    if (!WIFEXITED(waitStatus))
        m_warn("part " + part.suffix.substr(1) + " was ended by signal " +
               std::to_string(WTERMSIG(waitStatus)));
    if (status != 0 && m_status != base::EXIT_ERROR) m_status = status;
    std::vector<std::string> files;
    ::lseek(part.report.get(), 0, SEEK_SET);  // the process that has written them shared the place
    const std::string names = base::readAll(part.report.get());
    std::string_view left = names;
    for (std::string_view line; base::takeLine(left, line);) files.emplace_back(line);
    // A part that has made nothing takes no other's place.
    if (files.empty()) return;
    m_ended.push_back({std::move(files), status != 0});
    while (m_keep != 0 && m_ended.size() > m_keep) removeOne_i();
}

// The oldest part goes; but on a disk that is full one part after the other fails, and must not cost the good
// ones: the oldest of those that failed goes then, unless it is the latest.
void PartProcesses::removeOne_i() {
    const auto latest = std::prev(m_ended.end());
    const auto failed =
        std::find_if(m_ended.begin(), latest, [](const Ended& part) { return part.hasFailed; });
    const auto part = failed != latest ? failed : m_ended.begin();
    for (const std::string& file : part->files)
        if (::unlinkat(base::userFolder(), file.c_str(), 0) != 0 && errno != ENOENT)
            m_warn("Unable to remove " + file + ": " + std::strerror(errno));
    m_ended.erase(part);
}

}  // namespace host::record
