#include "host/compare/automation_reader.h"

#include <cstdint>
#include <string_view>
#include <utility>

#include "host/compare/glob.h"
#include "host/stream/line_source.h"

namespace host::compare {

namespace {

class AutomationReader {
public:
    AutomationReader(const Argument& argument, Group& group, std::string& error)
        : m_argument(argument), m_group(group), m_error(error) {}

    bool read(std::string_view first, stream::LineSource& source);

private:
    bool line_i(std::string_view text, std::uint64_t number);
    void header_i(std::string_view text);
    bool values_i(std::string_view text, std::uint64_t number);
    void leaveOut_i(std::size_t fields, std::uint64_t number);
    bool addRun_i(std::string_view text, Header::Reading reading);
    bool finish_i();

    const Argument& m_argument;
    Group& m_group;
    std::string& m_error;
    std::shared_ptr<const Header> m_header;
    std::size_t m_runs = 0;
    std::size_t m_leftOut = 0;
    std::string m_firstLeftOut;
};

// The field at `place`, from 0, of a line that has it.
std::string_view fieldAt(std::string_view line, std::size_t place) {
    Fields fields(line);
    std::string_view field;
    for (std::size_t i = 0; i <= place && fields.next(field); ++i) continue;
    return field;
}

bool AutomationReader::read(std::string_view first, stream::LineSource& source) {
    if (!line_i(first, source.lineNumber())) return false;
    char* text = nullptr;
    std::size_t size = 0;
    while (source.next(text, size))
        if (!line_i({text, size}, source.lineNumber())) return false;
    if (source.error().empty()) return finish_i();
    m_error = "cannot read " + m_argument.m_path + ": " + source.error();
    return false;
}

bool AutomationReader::line_i(std::string_view text, std::uint64_t number) {
    if (text.ends_with('\r')) text.remove_suffix(1);
    if (text.empty()) return true;
    if (text.starts_with(Header::BEGIN)) {
        header_i(text);
        return true;
    }
    if (m_header != nullptr) return values_i(text, number);
    m_error = m_argument.m_path + ":" + std::to_string(number) +
              ": values before any header, which begins with " + std::string(Header::BEGIN);
    return false;
}

// Runs under equal headers share one, also across files: that saves memory, and reading names again.
void AutomationReader::header_i(std::string_view text) {
    if (m_header == nullptr && !m_group.m_runs.empty()) m_header = m_group.m_runs.back().m_header;
    if (m_header == nullptr || m_header->text() != text)
        m_header = std::make_shared<const Header>(std::string(text));
}

bool AutomationReader::values_i(std::string_view text, std::uint64_t number) {
    const std::size_t fields = countFields(text);
    const auto reading = m_header->readingFor(fields);
    if (!reading) {
        leaveOut_i(fields, number);
        return true;
    }
    if (m_argument.m_glob && !matches(*m_argument.m_glob, std::string(fieldAt(text, 0)))) return true;
    return addRun_i(text, *reading);
}

void AutomationReader::leaveOut_i(std::size_t fields, std::uint64_t number) {
    ++m_leftOut;
    if (m_leftOut > MAX_NOTES) return;
    const std::size_t plain = m_header->fields(Header::Plain);
    const std::size_t joined = m_header->fields(Header::Joined);
    std::string note = m_argument.m_path + ":" + std::to_string(number) +
                       ": left out: " + std::to_string(fields) + " fields, but its header has " +
                       std::to_string(plain);
    if (joined != plain)
        note += " (" + std::to_string(joined) + " with those joined that begin with a blank)";
    if (m_leftOut == 1) m_firstLeftOut = note;
    m_group.m_notes.push_back(std::move(note));
}

bool AutomationReader::addRun_i(std::string_view text, Header::Reading reading) {
    if (!m_group.hasRoom(m_argument, m_error)) return false;
    ++m_runs;
    Run& run = m_group.m_runs.emplace_back();
    run.m_header = m_header;
    run.m_reading = reading;
    run.m_line = text;
    if (const auto place = m_header->timeField(reading); place) run.m_time = fieldAt(text, *place);
    return true;
}

bool AutomationReader::finish_i() {
    if (m_leftOut > MAX_NOTES)
        m_group.m_notes.push_back(m_argument.m_path + ": " + std::to_string(m_leftOut - MAX_NOTES) +
                                  " more lines left out");
    if (m_runs > 0) return true;
    m_error = m_argument.m_word + ": no run";
    if (m_leftOut > 0) {
        m_error += "; lines left out: " + std::to_string(m_leftOut) + ", the first is " + m_firstLeftOut;
    } else if (m_argument.m_glob) {
        m_error += " has a name that matches";
    } else {
        m_error += ", only headers";
    }
    return false;
}

}  // namespace

bool readAutomationFile(std::string_view first, stream::LineSource& source, const Argument& argument,
                        Group& group, std::string& error) {
    return AutomationReader(argument, group, error).read(first, source);
}

}  // namespace host::compare
