#include "host/session/run.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/base/transfer.h"
#include "host/model/registry.h"
#include "host/session/label_list.h"
#include "host/session/order_file.h"
#include "host/session/places.h"
#include "host/session/writer_list.h"

namespace host::session {

namespace {

// So many tables can't have a file, that the results which are opened when the run ends find a descriptor.
constexpr rlim_t DESCRIPTORS_FOR_THE_END = 32;

// Every table of a report holds a file, so as many may be open as the system lets this process have, but for
// `reserve` of them, or an eighth.
void setOpenFilesLimit(rlim_t reserve) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max - std::min(reserve, limit.rlim_max / 8);
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

std::string plural(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// Where the folder of temporary files may be made, best first.
std::vector<std::string> placesForTemporaryFiles(const RunOptions& options) {
    if (!options.m_temp.empty()) return {options.m_temp};
    std::vector<std::string> places;
    if (const char* const common = std::getenv("TMPDIR"); common != nullptr && *common != '\0')
        places.emplace_back(common);
    places.insert(places.end(), {folderOf(options.m_output), ".", "/tmp"});
    return places;
}

// These make a file for each group, and a file that many runs add to.
bool makesOneFile(const std::string& writer) {
    return writer != "phm-csv" && writer != "auto";
}

// Copies a file of the working directory to standard output. Returns 0 or an errno value.
int printFile(const std::string& path) {
    const base::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<char> block(std::size_t{1} << 16);
    ssize_t got = file.isOpen() ? 1 : -1;
    while (got > 0) {
        got = ::read(file.get(), block.data(), block.size());
        if (got < 0 && errno == EINTR) got = 1;
        if (got <= 0) break;
        const auto size = static_cast<std::size_t>(got);
        if (const int error = base::writeAll(STDOUT_FILENO, {block.data(), size}); error != 0) return error;
    }
    return got < 0 ? errno : 0;
}

}  // namespace

Run::Run() = default;

Run::~Run() {
    m_libraries.reset();
    m_reader.reset();
    if (m_environment != nullptr) m_environment->results().settle();
    m_environment.reset();
    if (m_statuses != nullptr) std::fclose(m_statuses);
}

bool Run::open(const RunOptions& options, const std::function<bool()>& isReady) {
    m_options = options;
    if (m_options.m_output.ends_with('/')) m_options.m_output += "run";
    setOpenFilesLimit(DESCRIPTORS_FOR_THE_END);
    std::signal(SIGPIPE, SIG_IGN);
    m_log = std::make_unique<RunLog>(options.m_logLevel);
    m_environment = std::make_unique<model::Environment>(m_log->errorSink(), m_log->infoSink());
    m_environment->m_logLevel = options.m_logLevel;
    m_environment->m_conditionalTags.insert(options.m_logTags.begin(), options.m_logTags.end());
    if (!options.m_order.empty() && !readOrder_i(options.m_order)) return false;
    m_libraries = std::make_unique<PluginLibraries>();
    std::string error;
    if (!publishLabels(options.m_labels, error)) {
        base::complain(error);
        return false;
    }
    if (!selectWriters_i() || !checkStandardOutput_i()) return false;
    if (m_options.m_needsPlaces && !m_isToStandardOutput && !checkPlaces_i()) return false;
    if (!m_delivery.writers().empty() && !makeWorkFolder_i()) return false;
    if (!openLogs_i(isReady)) return false;
    m_delivery.setStart(options.m_start);
    m_delivery.setObserver([this](const StatusRecord& record) { writeStatus_i(record); });
    // At level 1 the lines that say why a writer refuses everything are not shown.
    if (options.m_logLevel == 1 && options.m_logTags.empty())
        m_delivery.setReasons(
            [this] {
                m_environment->m_logLevel = 2;
                m_log->beginKeeping();
            },
            [this] {
                m_environment->m_logLevel = 1;
                return m_log->endKeeping();
            });
    m_reader = std::make_unique<stream::StreamReader>(m_delivery);
    return true;
}

bool Run::readOrder_i(const std::string& path) {
    std::string error;
    if (readOrderFile(path, model::Registry::instance().m_configuration, error)) return true;
    base::complain(error);
    return false;
}

bool Run::selectWriters_i() {
    const WriterList list(m_options.m_writers);
    if (list.isNone() && m_options.m_plugins.empty()) return true;
    std::string error;
    std::vector<WriterPlugin*> chosen;
    if (m_libraries->open(m_options.m_plugins, error) && list.select(*m_libraries, chosen, error)) {
        for (WriterPlugin* writer : chosen) m_delivery.add(*writer);
        return true;
    }
    base::complain(error);
    return false;
}

// The file for standard output is made in the folder of temporary files first: writers seek, rename and
// append.
bool Run::checkStandardOutput_i() {
    m_isToStandardOutput = m_options.m_output == "-";
    if (!m_isToStandardOutput) return true;
    const auto& writers = m_delivery.writers();
    const bool isOne = writers.empty() || (writers.size() == 1 && makesOneFile(writers.front().m_name));
    m_options.m_output = "run";
    if (!writers.empty())
        m_printedFile =
            m_options.m_output + PluginLibrary::capabilityOf(*writers.front().m_plugin).m_extension;
    if (isOne && !m_options.m_isContinuous) return true;
    base::complain("-o - takes exactly one writer, one that makes one file, and no continuous run");
    return false;
}

bool Run::makeWorkFolder_i() {
    std::string error;
    if (m_workFolder.make(placesForTemporaryFiles(m_options), error)) return true;
    base::complain("cannot make a folder for the writers' temporary files in " + error +
                   "; --temp names another place");
    return false;
}

// A user who asks for all that can be had does without the file that all runs of a folder share.
bool Run::checkPlaces_i() {
    if (WriterList(m_options.m_writers).isAll() && !hasPlace(AUTOMATION_FILE)) {
        base::complain(std::string("auto is left out: cannot write ") + AUTOMATION_FILE + ": " +
                       std::strerror(errno));
        m_delivery.remove("auto");
    }
    return checkPlaces(m_delivery.writers(), m_options.m_output,
                       m_options.m_isContinuous || m_options.m_isInParts);
}

// Empties no file before all can be opened.
bool Run::openLogs_i(const std::function<bool()>& isReady) {
    if (!m_log->open(m_options.m_log)) {
        base::complain("cannot open the log " + m_options.m_log + ": " + std::strerror(errno));
        return false;
    }
    if (isReady && !isReady()) return false;
    if (!m_options.m_statuses.empty()) {
        m_statuses = std::fopen(m_options.m_statuses.c_str(), "we");
        if (m_statuses == nullptr) {
            base::complain("cannot open the statuses file " + m_options.m_statuses + ": " +
                           std::strerror(errno));
            return false;
        }
    }
    m_log->start();
    return true;
}

void Run::writeStatus_i(const StatusRecord& record) {
    if (m_statuses == nullptr) return;
    std::fprintf(m_statuses, "%llu,%s,%s,%d\n", static_cast<unsigned long long>(record.m_line),
                 record.m_writer.c_str(), record.m_operation, record.m_status);
}

std::vector<std::string> Run::results() const {
    std::vector<std::string> paths;
    for (const auto& made : m_environment->results().made()) paths.push_back(made.path);
    return paths;
}

bool Run::begin(const std::string& suffix) {
    m_options.m_output += suffix;
    if (!m_delivery.writers().empty()) {
        if (!suffix.empty()) {
            m_workFolder.forget();
            if (!makeWorkFolder_i()) return false;
        }
        if (!m_workFolder.enter()) {
            base::complain("cannot work in the folder " + m_workFolder.path() + ": " + std::strerror(errno));
            return false;
        }
        if (!m_isToStandardOutput)
            m_environment->results().setFolder(m_workFolder.origin().get(), m_workFolder.originPath());
    }
    tellWhoCannotFlush_i();
    m_delivery.init(m_options.m_output, m_options.m_isContinuous);
    return true;
}

void Run::tellWhoCannotFlush_i() const {
    if (!m_options.m_isContinuous) return;
    std::string names;
    for (const auto& writer : m_delivery.writers())
        if (!writer.m_canFlush) names += (names.empty() ? "" : ", ") + writer.m_name;
    if (!names.empty()) base::complain("--continuous: results only at the end of the run from " + names);
}

void Run::addFile(const std::string& path) {
    m_environment->results().note(path);
}

int Run::end() {
    setOpenFilesLimit(0);
    m_delivery.fini();
    m_libraries.reset();
    m_reader.reset();
    m_log->tellRepeats();
    m_environment->results().settle();
    const bool isGood = isWithoutFailure_i();
    const bool hasAllFiles = hasAllFiles_i();
    const bool isPrinted = printResult_i();
    leaveWorkFolder_i();
    const bool isLogComplete = isLogComplete_i();
    const bool areStatusesComplete = closeStatuses_i();
    listFiles_i();
    if (!areStatusesComplete || !isLogComplete || !isPrinted) return base::EXIT_ERROR;
    if (!isGood) return base::EXIT_FAILED;
    return hasAllFiles && !isRefused_i() ? base::EXIT_GOOD : base::EXIT_ERROR;
}

// A user who asks for all that can be had does without what cannot.
bool Run::isRefused_i() const {
    const auto& writers = m_delivery.writers();
    return !WriterList(m_options.m_writers).isAll() &&
           std::any_of(writers.begin(), writers.end(), [](const auto& writer) { return writer.m_isRefused; });
}

bool Run::isWithoutFailure_i() const {
    bool isGood = true;
    for (const auto& writer : m_delivery.writers()) {
        if (writer.m_failures == 0) continue;
        base::complain(writer.m_name + ": " + plural(writer.m_failures, "operation") + " failed" +
                       (writer.m_reason.empty() ? "" : ": " + writer.m_reason));
        isGood = false;
    }
    if (const std::size_t failures = m_environment->outputFailures(); failures != 0) {
        base::complain(plural(failures, "output file") + " could not be written");
        isGood = false;
    }
    if (const std::size_t errors = m_log->errorLines(); errors != 0) {
        if (!m_options.m_log.empty())
            base::complain(plural(errors, "error") + " in the log " + m_options.m_log);
        isGood = false;
    }
    return isGood;
}

// Not all writers say that they could not create their file.
bool Run::hasAllFiles_i() const {
    for (const auto& [path, error] : m_environment->results().uncreated())
        base::complain("cannot create " + path + ": " + std::strerror(error));
    return m_environment->results().uncreated().empty();
}

// Prints the result of a run whose output is "-": it lies in the folder of temporary files.
bool Run::printResult_i() const {
    if (!m_isToStandardOutput || m_delivery.writers().empty()) return true;
    auto made = m_environment->results().made();
    const std::string& writer = m_delivery.writers().front().m_name;
    // What goes beside the file that the writer is for, such as the cells of the summary, is not printed.
    const auto isBeside = [&](const auto& result) { return result.path != m_printedFile; };
    if (!std::all_of(made.begin(), made.end(), isBeside)) std::erase_if(made, isBeside);
    if (made.size() > 1) {
        base::complain(writer + " has made " + std::to_string(made.size()) +
                       " files, and standard output takes one");
        return false;
    }
    const int error = made.empty() ? 0 : printFile(made.front().path);
    if (error != 0) base::complain(std::string("cannot write to standard output: ") + std::strerror(error));
    return error == 0;
}

void Run::leaveWorkFolder_i() {
    const bool isGone = m_workFolder.leave();
    m_environment->results().setFolder(AT_FDCWD, std::string());
    if (isGone) return;
    base::complain("cannot remove the folder of temporary files " + m_workFolder.path() + ": " +
                   std::strerror(errno));
}

bool Run::isLogComplete_i() const {
    if (m_options.m_log.empty() || m_log->error() == 0) return true;
    base::complain("cannot write the log " + m_options.m_log + ": " + std::strerror(m_log->error()));
    return false;
}

bool Run::closeStatuses_i() {
    if (m_statuses == nullptr) return true;
    errno = 0;
    bool isComplete = std::ferror(m_statuses) == 0;
    if (std::fclose(m_statuses) != 0) isComplete = false;
    m_statuses = nullptr;
    if (isComplete) return true;
    base::complain("cannot write the statuses file " + m_options.m_statuses + ": " +
                   std::strerror(errno != 0 ? errno : EIO));
    return false;
}

}  // namespace host::session
