#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "pwr/api.h"

namespace pwr {

class SystemMetadata;
class TableMessage;

// The kinds of message that writers inspect.
enum MessageType : std::uint8_t {
    MESSAGE_TEXT = 2,
    MESSAGE_HEADER_TEXT = 5,
};

// Which residency tables the trace CSV writer makes of a metric.
enum TimelineTableType : std::uint8_t {
    TIMELINE_TABLE_BOTH = 0,
    TIMELINE_TABLE_PERCENTAGE = 1,
    TIMELINE_TABLE_TIME = 2,
};

// Notes to print with a table. Key 0: before it, key 1: after it.
using TextNotes = std::map<std::int32_t, std::vector<std::string>>;

// The base of what the host sends to writers.
class PWR_HOST_API WriterMessage {
public:
    WriterMessage();
    WriterMessage(const WriterMessage& other);
    virtual ~WriterMessage();

    // See MessageType; other kinds are the host's.
    virtual std::uint8_t getMessageType() const = 0;

    std::uint32_t m_id;            // of a table: the table id; of a text: its place in the report
    std::set<unsigned int> m_ids;  // the host's
    std::uint32_t m_metricContainerId;
};

// A piece of text.
class PWR_HOST_API TextMessage : public WriterMessage {
public:
    TextMessage();
    TextMessage(const TextMessage& other);
    ~TextMessage() override;

    std::uint8_t getMessageType() const override;

    // Stores a copy of `text`.
    void setMessage(const std::string& text);

    std::string m_text;
};

// A piece of text for the head of a report. Passed through the operation for pwr::TextMessage.
class PWR_HOST_API HeaderTextMessage : public TextMessage {
public:
    HeaderTextMessage();
    HeaderTextMessage(const HeaderTextMessage& other);
    ~HeaderTextMessage() override;

    std::uint8_t getMessageType() const override;
};

// Opens a run. Sent once, before all other messages.
class PWR_HOST_API SystemMessage : public WriterMessage {
public:
    SystemMessage();
    SystemMessage(const SystemMessage& other);
    ~SystemMessage() override;

    std::uint8_t getMessageType() const override;

    const SystemMetadata* m_metadata;  // owned by the host; outlives WriterPlugin::fini
};

// Carries nothing that a writer reads.
class PWR_HOST_API IdMessage : public WriterMessage {
public:
    IdMessage();
    IdMessage(const IdMessage& other);
    ~IdMessage() override;

    std::uint8_t getMessageType() const override;
};

// Describes a metric container: all tables of one metric. The container's id is m_metricContainerId.
class PWR_HOST_API MetricContainerInfoMessage : public WriterMessage {
public:
    MetricContainerInfoMessage();
    MetricContainerInfoMessage(const MetricContainerInfoMessage& other);
    ~MetricContainerInfoMessage() override;

    std::uint8_t getMessageType() const override;

    const TextNotes* m_notes;         // may be null; owned by the host
    std::string m_containerHeader;    // may be empty
    const TableMessage* m_infoTable;  // the metric information table; may be null; owned by the host
    TimelineTableType m_timelineTableType;
    std::string m_featureName;
    std::string m_metricName;
};

}  // namespace pwr
