#include "host/importers/kernel/tracedat_importer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include "host/base/descriptor.h"
#include "host/base/pipe.h"
#include "host/importers/kernel/tracedat_mending.h"
#include "host/importers/kernel/tracedat_reader.h"
#include "host/importers/seekable_content.h"

namespace host::importers {

namespace {

using kernel_events::Event;

constexpr std::uint64_t MOST_TOLD = 10;  // malformed records
constexpr std::uint64_t NO_END = ~std::uint64_t{0};
constexpr std::size_t NO_PLACE = ~std::size_t{0};

// The process that reads the file, and the pipe that it sends into.
class ReadingProcess {
public:
    // False, with errno set, if there can't be one.
    bool start(int file, std::uint64_t end) {
        constexpr int PIPE_BYTES = 1 << 20;
        base::Pipe pipe;
        if (!pipe.open()) return false;
        m_pipe = std::move(pipe.reading);
        ::fcntl(pipe.writing.get(), F_SETPIPE_SZ, PIPE_BYTES);
        m_pid = ::fork();
        if (m_pid != 0) return m_pid > 0;
        m_pipe = base::Descriptor();
        // The libraries say what they think of a file on standard error.
        const base::Descriptor nowhere(::open("/dev/null", O_RDWR | O_CLOEXEC));
        ::dup2(nowhere.get(), STDOUT_FILENO);
        ::dup2(nowhere.get(), STDERR_FILENO);
        for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGXCPU}) std::signal(signal, SIG_DFL);
        readTracedat("/proc/self/fd/" + std::to_string(file), end, pipe.writing.get());
        ::_exit(0);
    }

    int pipe() const { return m_pipe.get(); }

    // Ends it if it has not. Returns the signal that killed it, 0 if it ended by itself.
    int end() {
        int status = 0;
        m_pipe = base::Descriptor();
        while (::waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
        }
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }

private:
    base::Descriptor m_pipe;
    pid_t m_pid = -1;
};

std::uint64_t sizeOf(int file) {
    struct stat status {};
    return ::fstat(file, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

char versionOf(int file) {
    constexpr off_t VERSION = 10;
    char version = 0;
    return ::pread(file, &version, 1, VERSION) == 1 ? version : '\0';
}

base::Descriptor copyOf(int file) {
    SeekableContent copy(-1);
    std::vector<char> piece(std::size_t{1} << 20);
    off_t at = 0;
    for (ssize_t count = 0; (count = ::pread(file, piece.data(), piece.size(), at)) > 0; at += count)
        if (!copy.add({piece.data(), static_cast<std::size_t>(count)})) return base::Descriptor();
    return base::Descriptor(::fcntl(copy.descriptor(), F_DUPFD_CLOEXEC, 0));
}

// A file that ends too early is not read. One of version 6, which has its tables in front, is read with
// nothing but zeros after its end, one of version 7 with a table that is made. Not open if neither can be
// done.
base::Descriptor mendedCopy(int file) {
    constexpr off_t MUCH = off_t{1} << 40;
    const char version = versionOf(file);
    if (version != '6' && version != '7') return base::Descriptor();
    base::Descriptor copy = copyOf(file);
    if (!copy.isOpen()) return copy;
    const std::uint64_t size = sizeOf(file);
    const bool isMended = version == '7' ? mendTracedat(copy.get(), size)
                                         : ::ftruncate(copy.get(), static_cast<off_t>(size) + MUCH) == 0;
    return isMended ? std::move(copy) : base::Descriptor();
}

// What is said of a file that ends too early, of which something was read.
std::string cutText(int file) {
    const std::string text = "the file ends before the trace does";
    return versionOf(file) != '7'
               ? text
               : text + ", and with it which CPU's events stand where: CPUs are counted from 0";
}

}  // namespace

Sniff sniffTracedat(std::string_view head, bool isWhole) {
    constexpr std::string_view MAGIC("\x17\x08\x44tracing", 10);
    if (head.starts_with(MAGIC)) return Sniff::Yes;
    return MAGIC.starts_with(head) && !isWhole ? Sniff::NeedsMore : Sniff::No;
}

std::unique_ptr<Importer> makeTracedatImporter(const ImportTarget& target) {
    return std::make_unique<TracedatImporter>(target);
}

bool TracedatImporter::read(Input& part, Damage& damage) {
    m_name = part.name();
    m_count = 0;
    SeekableContent content(part.seekableFile());
    while (content.isCopy() && !part.isStopped()) {
        const std::string_view bytes = part.content().peek(1);
        if (bytes.empty()) break;
        if (!content.add(bytes)) return damage = {part.content().offset(), content.error()}, false;
        part.content().skip(bytes.size());
    }
    const int file = content.descriptor();
    const bool isWhole = read_i(part, file, NO_END, damage);
    const bool isUnread = !isWhole && m_count == 0;
    if (const base::Descriptor mended = isUnread ? mendedCopy(file) : base::Descriptor(); mended.isOpen()) {
        Damage ofMended;
        // Whole pages are read of what was mended, at places that compression has moved.
        read_i(part, mended.get(), versionOf(file) == '7' ? NO_END : sizeOf(file), ofMended);
        if (m_count > 0) damage = {sizeOf(file), cutText(file)};
    }
    m_target.tell(m_name + ": " + m_builder.tally().text("records"));
    return isWhole;
}

bool TracedatImporter::read_i(Input& part, int file, std::uint64_t end, Damage& damage) {
    ReadingProcess process;
    damage = {};
    if (file < 0 || !process.start(file, end)) {
        damage.what = std::string("no process can be started to read it: ") + std::strerror(errno);
        return false;
    }
    const bool isWhole = receive_i(part, process.pipe(), damage) || part.isStopped();
    const int signal = process.end();
    if (!isWhole && damage.what.empty())
        damage.what = std::string("libtracecmd can't read on from here") +
                      (signal != 0 ? std::string(" (SIG") + sigabbrev_np(signal) + ")" : "");
    return isWhole;
}

bool TracedatImporter::receive_i(Input& part, int pipe, Damage& damage) {
    TracedatReceiver receiver(pipe, m_builder.names());
    TracedatHead head{};
    while (!part.isStopped() && receiver.next(head)) {
        if (head.frame == TracedatFrame::End) return true;
        if (head.frame == TracedatFrame::Failure) return damage.what = receiver.text(), false;
        if (head.frame == TracedatFrame::Cpus)
            m_builder.tally().expectCpus(std::min(head.count, kernel_events::MOST_CPUS));
        if (head.frame != TracedatFrame::Records) continue;
        for (const TracedatRecord& record : receiver.records()) record_i(record);
        damage.offset = receiver.records().back().offset;
    }
    return false;
}

std::size_t TracedatImporter::placeOf_i(kernel_events::NameId name) {
    if (m_places.size() <= name) m_places.resize(name + 1, NO_PLACE);
    if (m_places[name] == NO_PLACE) m_places[name] = m_builder.tally().place(m_builder.names().text(name));
    return m_places[name];
}

void TracedatImporter::record_i(const TracedatRecord& record) {
    kernel_events::Tally& tally = m_builder.tally();
    const Event& event = record.event;
    if (record.result == TracedatResult::Loss) {
        tally.lose(event.cpu, static_cast<std::uint64_t>(event.a));
        return m_builder.add(event);
    }
    ++tally.lines;
    ++m_count;
    if (record.result == TracedatResult::Bad) {
        if (++tally.malformed > MOST_TOLD) return;
        const std::string& name = m_builder.names().text(record.name);
        return m_target.tell(m_name + ":" + std::to_string(m_count) + ": " +
                             (name.empty() ? "no event" : name + ": its fields cannot be read"));
    }
    tally.see(event.stamp, event.cpu);
    if (record.result == TracedatResult::Unknown) return tally.countUnknown(placeOf_i(record.name));
    tally.countMapped(placeOf_i(record.name));
    if (record.result == TracedatResult::ClockSync)
        m_builder.setWallClock(event.stamp, static_cast<std::uint64_t>(event.a) * 1'000'000);
    else
        m_builder.add(event);
}

void TracedatImporter::finish() {
    if (m_builder.tally().events() == 0)
        m_target.fail("not a single event is in it");
    else if (m_builder.tally().malformed > 0)
        m_target.fail({});
    m_builder.finish();
}

}  // namespace host::importers
