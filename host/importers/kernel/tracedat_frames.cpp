#include "host/importers/kernel/tracedat_frames.h"

#include <unistd.h>

#include <type_traits>

#include "host/base/transfer.h"

namespace host::importers {

static_assert(std::is_trivially_copyable_v<TracedatRecord>);

void TracedatSender::write_i(const void* bytes, std::size_t size) const {
    if (base::writeAll(m_pipe, {static_cast<const char*>(bytes), size}) != 0) ::_exit(0);
}

void TracedatSender::send(TracedatFrame frame, std::uint32_t count) {
    const TracedatHead head{frame, count};
    write_i(&head, sizeof head);
}

void TracedatSender::sendNames_i() {
    const std::size_t count = m_names.size() - m_sentNames;
    if (count == 0) return;
    m_bytes.clear();
    for (; m_sentNames < m_names.size(); ++m_sentNames) {
        const std::string& text = m_names.text(static_cast<kernel_events::NameId>(m_sentNames));
        const auto length = static_cast<std::uint32_t>(text.size());
        m_bytes.append(reinterpret_cast<const char*>(&length), sizeof length).append(text);
    }
    send(TracedatFrame::Names, static_cast<std::uint32_t>(count));
    write_i(m_bytes.data(), m_bytes.size());
}

void TracedatSender::flush() {
    sendNames_i();
    if (m_records.empty()) return;
    send(TracedatFrame::Records, static_cast<std::uint32_t>(m_records.size()));
    write_i(m_records.data(), m_records.size() * sizeof m_records[0]);
    m_records.clear();
}

void TracedatSender::fail(std::string_view text) {
    flush();
    send(TracedatFrame::Failure, static_cast<std::uint32_t>(text.size()));
    write_i(text.data(), text.size());
}

bool TracedatReceiver::read_i(void* bytes, std::size_t size) const {
    char* at = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t done = ::read(m_pipe, at, size);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        at += done;
        size -= static_cast<std::size_t>(done);
    }
    return true;
}

bool TracedatReceiver::readName_i() {
    std::uint32_t length = 0;
    if (!read_i(&length, sizeof length)) return false;
    m_text.resize(length);
    if (!read_i(m_text.data(), length)) return false;
    m_ids.push_back(m_names.get(m_text));
    return true;
}

void TracedatReceiver::translate_i(kernel_events::NameId& name) const {
    name = name < m_ids.size() ? m_ids[name] : 0;
}

bool TracedatReceiver::next(TracedatHead& head) {
    if (!read_i(&head, sizeof head) || head.count > MOST_TOGETHER) return false;
    switch (head.frame) {
        case TracedatFrame::Names:
            for (std::uint32_t i = 0; i < head.count; ++i)
                if (!readName_i()) return false;
            return true;
        case TracedatFrame::Records:
            m_records.resize(head.count);
            if (!read_i(m_records.data(), m_records.size() * sizeof m_records[0])) return false;
            for (TracedatRecord& record : m_records) {
                translate_i(record.name);
                translate_i(record.event.comm);
                translate_i(record.event.name);
                translate_i(record.event.other);
            }
            return true;
        case TracedatFrame::Failure:
            m_text.resize(head.count);
            return read_i(m_text.data(), head.count);
        default:
            return true;
    }
}

}  // namespace host::importers
