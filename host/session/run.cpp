#include "host/session/run.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <set>

#include "host/base/complain.h"
#include "host/base/exit_status.h"
#include "host/model/registry.h"
#include "host/session/label_list.h"
#include "host/session/order_file.h"

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

std::set<std::string> splitList(const std::string& list) {
    std::set<std::string> items;
    std::size_t begin = 0;
    while (begin <= list.size()) {
        const std::size_t end = std::min(list.find(',', begin), list.size());
        items.insert(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return items;
}

// Complains and returns false when no result can be written where the user wants it: not all writers tell.
bool checkOutputFolder(const std::string& output) {
    const std::size_t slash = output.rfind('/');
    if (slash == std::string::npos || slash == 0) return true;
    const std::string folder = output.substr(0, slash);
    if (::access(folder.c_str(), W_OK | X_OK) == 0) return true;
    base::complain("cannot write to the output folder " + folder + ": " + std::strerror(errno));
    return false;
}

std::string plural(std::size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

Run::Run() = default;

Run::~Run() {
    m_reader.reset();
    m_libraries.reset();
    m_environment.reset();
    if (m_statuses != nullptr) std::fclose(m_statuses);
    if (m_logDescriptor >= 0) ::close(m_logDescriptor);
}

bool Run::open(const RunOptions& options) {
    m_options = options;
    setOpenFilesLimit(DESCRIPTORS_FOR_THE_END);
    std::signal(SIGPIPE, SIG_IGN);
    if (!openLog_i(options.m_log)) return false;
    m_environment = std::make_unique<model::Environment>(*m_log, *m_log);
    m_environment->m_logLevel = options.m_logLevel;
    m_environment->m_conditionalTags.insert(options.m_logTags.begin(), options.m_logTags.end());
    if (!options.m_order.empty() && !readOrder_i(options.m_order)) return false;

    m_libraries = std::make_unique<PluginLibraries>();
    std::string error;
    const bool isNeeded = options.m_writers != "none" || !options.m_plugins.empty();
    if (!publishLabels(options.m_labels, error) ||
        (isNeeded &&
         (!m_libraries->open(options.m_plugins, error) || !selectWriters_i(options.m_writers, error))) ||
        (options.m_output == "-" && !openStandardOutput_i(error))) {
        base::complain(error);
        return false;
    }
    if (!options.m_statuses.empty() && !openStatuses_i(options.m_statuses)) return false;
    m_delivery.setStart(options.m_start);
    m_delivery.setObserver([this](const StatusRecord& record) { writeStatus_i(record); });
    m_reader = std::make_unique<stream::StreamReader>(m_delivery);
    return true;
}

bool Run::openLog_i(const std::string& path) {
    int descriptor = STDERR_FILENO;
    if (!path.empty()) {
        descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666);
        if (descriptor < 0) {
            base::complain("cannot open the log " + path + ": " + std::strerror(errno));
            return false;
        }
        m_logDescriptor = descriptor;
    }
    m_log = std::make_unique<model::DescriptorLogger>(descriptor);
    return true;
}

bool Run::readOrder_i(const std::string& path) {
    std::string error;
    if (readOrderFile(path, model::Registry::instance().m_configuration, error)) return true;
    base::complain(error);
    return false;
}

bool Run::selectWriters_i(const std::string& list, std::string& error) {
    if (list == "none") return true;
    std::set<std::string> wanted = splitList(list);
    std::string known;
    for (WriterPlugin* writer : m_libraries->writers()) {
        const std::string& name = PluginLibrary::capabilityOf(*writer).m_name;
        known += (known.empty() ? "" : ", ") + name;
        if (wanted.erase(name) != 0 || list == "all") m_delivery.add(*writer);
    }
    if (list == "all" || wanted.empty()) return true;
    error = "unknown writer \"" + *wanted.begin() + "\"; there are: " + known;
    return false;
}

bool Run::openStandardOutput_i(std::string& error) {
    m_standardOutput.emplace();
    if (!m_standardOutput->open(m_delivery.writers(), m_options.m_isContinuous, error)) return false;
    m_options.m_output = m_standardOutput->outputName();
    return true;
}

bool Run::openStatuses_i(const std::string& path) {
    m_statuses = std::fopen(path.c_str(), "we");
    if (m_statuses != nullptr) return true;
    base::complain("cannot open the statuses file " + path + ": " + std::strerror(errno));
    return false;
}

void Run::writeStatus_i(const StatusRecord& record) {
    if (m_statuses == nullptr) return;
    std::fprintf(m_statuses, "%llu,%s,%s,%d\n", static_cast<unsigned long long>(record.m_line),
                 record.m_writer.c_str(), record.m_operation, record.m_status);
}

void Run::begin() {
    m_hasOutputFolder = !needsOutputFolder_i() || checkOutputFolder(m_options.m_output);
    m_delivery.init(m_options.m_output, m_options.m_isContinuous);
}

// The automation summary lies in the working directory.
bool Run::needsOutputFolder_i() const {
    const auto& writers = m_delivery.writers();
    return std::any_of(writers.begin(), writers.end(),
                       [](const auto& writer) { return writer.m_name != "auto"; });
}

int Run::end() {
    setOpenFilesLimit(0);
    m_delivery.fini();
    m_reader.reset();
    m_libraries.reset();
    const bool isGood = isWithoutFailure_i();
    const bool hasAllFiles = hasAllFiles_i();
    const bool isCopied = isResultCopied_i();
    const bool isLogComplete = isLogComplete_i();
    if (!closeStatuses_i() || !isLogComplete || !isCopied) return base::EXIT_ERROR;
    if (!isGood) return base::EXIT_FAILED;
    return hasAllFiles && !isRefused_i() ? base::EXIT_GOOD : base::EXIT_ERROR;
}

bool Run::isResultCopied_i() {
    std::string error;
    if (!m_standardOutput || m_standardOutput->copy(error)) return true;
    base::complain(error);
    return false;
}

// A user who asks for all that can be had does without what cannot.
bool Run::isRefused_i() const {
    const auto& writers = m_delivery.writers();
    return m_options.m_writers != "all" &&
           std::any_of(writers.begin(), writers.end(), [](const auto& writer) { return writer.m_isRefused; });
}

bool Run::isWithoutFailure_i() const {
    bool isGood = true;
    for (const auto& writer : m_delivery.writers()) {
        if (writer.m_failures == 0) continue;
        base::complain(writer.m_name + ": " + plural(writer.m_failures, "operation") + " failed");
        isGood = false;
    }
    if (const std::size_t failures = m_environment->outputFailures(); failures != 0) {
        base::complain(plural(failures, "output file") + " could not be written");
        isGood = false;
    }
    return isGood;
}

// Not all writers say that they could not create their file.
bool Run::hasAllFiles_i() const {
    if (!m_hasOutputFolder) return false;  // which has been told
    for (const auto& [path, error] : m_environment->results().uncreated())
        base::complain("cannot create " + path + ": " + std::strerror(error));
    return m_environment->results().uncreated().empty();
}

bool Run::isLogComplete_i() const {
    if (m_logDescriptor < 0 || m_log->error() == 0) return true;
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
