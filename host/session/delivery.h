#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "host/stream/message_sink.h"

class WriterPlugin;

namespace host::session {

// A status that is not 0.
struct StatusRecord {
    std::uint64_t m_line;  // of the stream; 0 for init and fini
    const std::string& m_writer;
    const char* m_operation;
    std::int32_t m_status;
};

// Hands messages to the selected writers, in order, and keeps count of what failed. A writer that fails init
// gets nothing more. An exception that leaves a writer counts as status 1.
class Delivery : public stream::MessageSink {
public:
    struct Writer {
        std::string m_name;
        WriterPlugin* m_plugin;  // not owned
        std::set<pwr::TableClass> m_tableClasses;
        bool m_canFlush;
        bool m_isActive = false;
        std::size_t m_failures = 0;
        bool m_isRefused = false;  // the writer could make nothing of the run, and said why
        std::string m_reason;      // why it refuses everything, if it has said so
    };

    // Adds a plug-in of a writer library, which must outlive this object.
    void add(WriterPlugin& plugin);

    // Takes a writer back, if it was added. It must not have been started.
    void remove(const std::string& name);

    // Called for every status that is not 0.
    void setObserver(std::function<void(const StatusRecord&)> observer);

    // The start of the collection that holds instead of the stream's, in nanoseconds since 1970; 0: none.
    void setStart(std::uint64_t start) { m_start = start; }

    // `begin` and `end` surround the calls after which a writer may refuse everything, init and the system
    // message. What `end` returns becomes the reason of a writer that fails there.
    void setReasons(std::function<void()> begin, std::function<std::string()> end);

    void setLine(std::uint64_t line) override { m_line = line; }

    void init(const std::string& outputName, bool continuous);
    void fini();

    void table(const pwr::TableMessage& message, pwr::TableClass tableClass) override;
    void text(const pwr::TextMessage& message) override;
    void system(const pwr::SystemMessage& message) override;
    void metric(const pwr::Metric& metric) override;
    void container(const pwr::MetricContainerInfoMessage& message) override;
    void id(const pwr::IdMessage& message) override;

    // In a continuous run asks every writer that can flush to do so; otherwise does nothing.
    void flush(const pwr::SystemMetadata& metadata) override;

    const std::vector<Writer>& writers() const { return m_writers; }

    // The number of operations that failed, of all writers.
    std::size_t failures() const;

private:
    template <typename Call>
    std::int32_t call_i(Writer& writer, const char* operation, Call call);
    template <typename Call>
    std::int32_t callForReason_i(Writer& writer, const char* operation, Call call);
    template <typename Message>
    void write_i(const char* operation, const Message& message);

    std::vector<Writer> m_writers;
    std::function<void(const StatusRecord&)> m_observer;
    std::function<void()> m_beginReason;
    std::function<std::string()> m_endReason;
    std::uint64_t m_line = 0;
    std::uint64_t m_start = 0;
    bool m_isContinuous = false;
};

}  // namespace host::session
