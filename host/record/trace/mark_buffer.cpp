#include "host/record/trace/mark_buffer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/kernel_events/mark_text.h"
#include "host/record/trace/buffer_page.h"
#include "host/record/trace/thread_name.h"

namespace host::record {

namespace {

using kernel_events::Event;
using kernel_events::MarkResult;

constexpr std::size_t PAGE = std::size_t{1} << 16;  // no page is larger

}  // namespace

bool MarkBuffer::write_i(const char* file, const std::string& text) const {
    const base::Descriptor target(
        ::openat(m_folder->descriptor(), (m_path + file).c_str(), O_WRONLY | O_CLOEXEC));
    return target.isOpen() &&
           ::write(target.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// The parts of a rotated recording have one each, for a moment two at a time.
bool MarkBuffer::make_i() {
    for (int i = 0; i < 2; ++i) {
        const std::string path = "instances/pwrhost-" + std::to_string(::getpid()) + "-" + std::to_string(i);
        if (::mkdirat(m_folder->descriptor(), path.c_str(), 0700) == 0) {
            m_path = path + "/";
            return true;
        }
    }
    return false;
}

bool MarkBuffer::prepare_i(std::uint64_t kib) {
    return write_i("trace_clock", "mono_raw") && write_i("buffer_size_kb", std::to_string(kib)) &&
           write_i("tracing_on", "1") && write_i("options/copy_trace_marker", "1");
}

bool MarkBuffer::readFormat_i() {
    const auto text = m_folder->text("events/ftrace/print/format");
    const auto format = text ? kernel_events::RawFormat::parse(*text) : std::nullopt;
    if (!format) return false;
    const kernel_events::RawField* const pid = format->find("common_pid");
    const kernel_events::RawField* const mark = format->find("buf");
    if (pid == nullptr || mark == nullptr) return false;
    m_number = format->id;
    m_pid = *pid;
    m_text = *mark;
    return true;
}

bool MarkBuffer::open(const std::vector<unsigned>& cpus, std::uint64_t kib, const Warn& warn) {
    m_folder.emplace();
    if (!m_folder->isOpen()) return warn("trace: " + m_folder->error()), false;
    std::string why = readFormat_i() ? "" : "their format can't be read";
    if (why.empty() && !make_i())
        why = std::string("no buffer can be made in tracefs: ") + std::strerror(errno);
    if (why.empty() && !prepare_i(kib)) {
        why = errno == ENOENT ? "this kernel does not copy them (Linux 6.16 is the first that does)"
                              : std::string("the buffer can't be set up: ") + std::strerror(errno);
        close();
    }
    if (!why.empty()) return warn("trace: no marks: " + why), false;
    for (const unsigned cpu : cpus) {
        const std::string pages = m_path + "per_cpu/cpu" + std::to_string(cpu) + "/trace_pipe_raw";
        base::Descriptor file(
            ::openat(m_folder->descriptor(), pages.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        if (file.isOpen()) m_cpus.push_back({cpu, std::move(file)});
    }
    m_page.resize(PAGE);
    return true;
}

void MarkBuffer::close() {
    m_cpus.clear();
    if (m_path.empty()) return;
    m_path.pop_back();
    ::unlinkat(m_folder->descriptor(), m_path.c_str(), AT_REMOVEDIR);
    m_path.clear();
}

void MarkBuffer::drain(std::uint64_t from, std::uint64_t until, const Sink& sink) {
    for (const Cpu& cpu : m_cpus) {
        ssize_t size = 0;
        while ((size = ::read(cpu.pages.get(), m_page.data(), m_page.size())) > 0) {
            const auto take = [&](std::uint64_t stamp, std::span<const char> bytes) {
                if (stamp >= from && stamp <= until) take_i(cpu.number, stamp, bytes, sink);
            };
            const std::uint64_t missing =
                readBufferPage({m_page.data(), static_cast<std::size_t>(size)}, take);
            if (missing > 0) m_tally.lose(cpu.number, missing);
            m_lost += missing;
        }
    }
}

void MarkBuffer::take_i(unsigned cpu, std::uint64_t stamp, std::span<const char> bytes, const Sink& sink) {
    if (kernel_events::eventNumber(bytes) != m_number) return;
    Event event;
    event.stamp = stamp;
    event.cpu = cpu;
    std::string_view mark;
    ++m_tally.lines;
    const bool isRead = m_pid.read(bytes, event.pid) && m_text.read(bytes, mark);
    const MarkResult result =
        isRead ? kernel_events::readMark(mark.substr(0, mark.find('\n')), m_names, event) : MarkResult::Bad;
    if (result == MarkResult::Bad) {
        ++m_tally.malformed;
    } else if (result == MarkResult::Read) {
        m_tally.countMapped(m_tally.place("print"));
        event.comm = nameOf_i(event.pid);
        sink(event);
    } else {
        m_tally.countUnknown(m_tally.place("print"));
    }
}

kernel_events::NameId MarkBuffer::nameOf_i(std::int64_t pid) {
    kernel_events::NameId& known = m_threads[pid];
    if (known == 0) known = m_names.get(threadName(pid));
    return known;
}

}  // namespace host::record
