#pragma once

#include <string_view>

#include "host/model/registry.h"
#include "host/stream/message_sink.h"
#include "host/stream/object_reader.h"
#include "host/stream/references.h"

namespace host::stream {

// Reads lines that carry a message and delivers it. A line with a fault delivers nothing.
class MessageReader {
public:
    MessageReader(model::Registry& registry, Fault& fault, MessageSink& sink);

    // Reads a line whose "msg" is `kind`.
    void read(std::string_view kind, ObjectReader& line);

private:
    void system_i(ObjectReader& line);
    void stop_i(ObjectReader& line);
    void end_i(ObjectReader& line);
    void text_i(ObjectReader& line);
    void header_i(ObjectReader& line);
    void table_i(ObjectReader& line);
    void row_i(ObjectReader& line);
    void container_i(ObjectReader& line);
    void metric_i(ObjectReader& line);
    void id_i(ObjectReader& line);
    void flush_i(ObjectReader& line);

    void texts_i(ObjectReader& line, pwr::TextMessage& message);
    model::Table* tableAt_i(const Token& token);
    void readRow_i(ObjectReader& line, const model::TableColumns& columns, model::Row& row);
    void readCells_i(std::string_view key, const Token& list, std::size_t count, model::CellList& cells);

    model::Registry& m_registry;
    Fault& m_fault;
    References m_references;
    MessageSink& m_sink;
    bool m_isOpen = false;  // the system message has come
    std::uint32_t m_systemId = 0;
    pwr::TextMessage m_textMessage;
    pwr::HeaderTextMessage m_headerMessage;
    pwr::IdMessage m_idMessage;
    model::SamplePool m_pool;
    model::Row m_row;
};

}  // namespace host::stream
