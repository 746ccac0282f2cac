#include "pwr/messages.h"

namespace {

// Kinds of message that no writer inspects.
enum HostMessageType : std::uint8_t {
    MESSAGE_SYSTEM = 1,
    MESSAGE_ID = 3,
    MESSAGE_CONTAINER = 6,
};

}  // namespace

namespace pwr {

WriterMessage::WriterMessage() : m_id(0), m_metricContainerId(0) {}
WriterMessage::WriterMessage(const WriterMessage& other) = default;
WriterMessage::~WriterMessage() = default;

TextMessage::TextMessage() = default;
TextMessage::TextMessage(const TextMessage& other) = default;
TextMessage::~TextMessage() = default;

std::uint8_t TextMessage::getMessageType() const {
    return MESSAGE_TEXT;
}

void TextMessage::setMessage(const std::string& text) {
    m_text = text;
}

HeaderTextMessage::HeaderTextMessage() = default;
HeaderTextMessage::HeaderTextMessage(const HeaderTextMessage& other) = default;
HeaderTextMessage::~HeaderTextMessage() = default;

std::uint8_t HeaderTextMessage::getMessageType() const {
    return MESSAGE_HEADER_TEXT;
}

SystemMessage::SystemMessage() : m_metadata(nullptr) {}
SystemMessage::SystemMessage(const SystemMessage& other) = default;
SystemMessage::~SystemMessage() = default;

std::uint8_t SystemMessage::getMessageType() const {
    return MESSAGE_SYSTEM;
}

IdMessage::IdMessage() = default;
IdMessage::IdMessage(const IdMessage& other) = default;
IdMessage::~IdMessage() = default;

std::uint8_t IdMessage::getMessageType() const {
    return MESSAGE_ID;
}

MetricContainerInfoMessage::MetricContainerInfoMessage()
    : m_notes(nullptr), m_infoTable(nullptr), m_timelineTableType(TIMELINE_TABLE_BOTH) {}
MetricContainerInfoMessage::MetricContainerInfoMessage(const MetricContainerInfoMessage& other) = default;
MetricContainerInfoMessage::~MetricContainerInfoMessage() = default;

std::uint8_t MetricContainerInfoMessage::getMessageType() const {
    return MESSAGE_CONTAINER;
}

}  // namespace pwr
