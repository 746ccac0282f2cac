#include "host/stream/message_reader.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "host/stream/definition_reader.h"
#include "host/stream/element_reader.h"
#include "host/stream/system_reader.h"
#include "host/stream/vocabulary.h"

namespace host::stream {

namespace {

void readCell(const Token& token, model::Cell& cell, Fault& fault) {
    switch (token.type()) {
        case Token::Text:
            cell.m_kind = model::Cell::Kind::Text;
            cell.m_text = token.text();
            return;
        case Token::Null:
            cell.m_kind = model::Cell::Kind::Empty;
            return;
        case Token::False:
            cell.m_kind = model::Cell::Kind::Absent;
            return;
        default:
            setExpected("a text, null or false", token, fault);
    }
}

}  // namespace

MessageReader::MessageReader(model::Registry& registry, Fault& fault, MessageSink& sink)
    : m_registry(registry), m_fault(fault), m_references(registry, fault), m_sink(sink) {}

void MessageReader::read(std::string_view kind, ObjectReader& line) {
    struct Kind {
        std::string_view m_name;
        void (MessageReader::*m_read)(ObjectReader&);
    };
    static constexpr Kind KINDS[] = {
        {message::METRIC, &MessageReader::metric_i}, {message::ROW, &MessageReader::row_i},
        {message::TABLE, &MessageReader::table_i},   {message::CONTAINER, &MessageReader::container_i},
        {message::TEXT, &MessageReader::text_i},     {message::HEADER, &MessageReader::header_i},
        {message::ID, &MessageReader::id_i},         {message::FLUSH, &MessageReader::flush_i},
        {message::END, &MessageReader::end_i},       {message::STOP, &MessageReader::stop_i},
        {message::SYSTEM, &MessageReader::system_i},
    };
    for (const Kind& known : KINDS) {
        if (known.m_name != kind) continue;
        if (!m_isOpen && kind != message::SYSTEM) {
            m_fault.set("a message before the system message");
            return;
        }
        return (this->*known.m_read)(line);
    }
    m_fault.set("unknown message " + quoted(kind));
}

void MessageReader::system_i(ObjectReader& line) {
    if (m_isOpen) {
        m_fault.set("a second system message");
        return;
    }
    const auto id = line.integer<std::uint32_t>(key::ID, 0);
    auto metadata = readSystemMetadata(line);
    if (!line.finish()) return;

    m_isOpen = true;
    m_systemId = id;
    m_registry.m_metadata = std::move(metadata);
    auto message = std::make_unique<pwr::SystemMessage>();
    message->m_id = id;
    message->m_metadata = m_registry.m_metadata.get();
    m_sink.system(*m_registry.keep(std::move(message)));
}

void MessageReader::stop_i(ObjectReader& line) {
    model::SystemMetadata& metadata = *m_registry.m_metadata;
    const auto stop = line.requireInteger<std::uint64_t>(key::TSC);
    const double duration = line.number(key::DURATION_SEC, metadata.m_duration);
    if (!line.finish()) return;
    metadata.m_collectionStop = stop;
    metadata.m_duration = duration;
}

void MessageReader::end_i(ObjectReader& line) {
    const Token* const id = line.require(key::ID);
    const model::HandleRecord* record = nullptr;
    if (id != nullptr) {
        record = m_references.record(*id);
        m_fault.in(key::ID);
    }
    const auto end = line.requireInteger<std::uint64_t>(key::TSC);
    if (!line.finish() || record == nullptr) return;
    if (auto* process = dynamic_cast<model::Process*>(record->m_handle); process != nullptr) {
        process->m_endTime = end;
    } else if (auto* thread = dynamic_cast<model::Thread*>(record->m_handle); thread != nullptr) {
        thread->m_endTime = end;
    } else {
        m_fault.set("\"id\": the handle with id " + describe(*id) + " is no process or thread");
    }
}

void MessageReader::texts_i(ObjectReader& line, pwr::TextMessage& message) {
    const std::string text = line.requireText(key::TEXT);
    const auto id = line.integer<std::uint32_t>(key::ID, 0);
    if (!line.finish()) return;
    message.m_id = id;
    message.setMessage(text);
    m_sink.text(message);
}

void MessageReader::text_i(ObjectReader& line) {
    texts_i(line, m_textMessage);
}

void MessageReader::header_i(ObjectReader& line) {
    texts_i(line, m_headerMessage);
}

void MessageReader::id_i(ObjectReader& line) {
    if (line.finish()) m_sink.id(m_idMessage);
}

void MessageReader::flush_i(ObjectReader& line) {
    if (line.finish()) m_sink.flush(*m_registry.m_metadata);
}

model::Table* MessageReader::tableAt_i(const Token& token) {
    const Token* parts[2];
    if (!splitList(token, 2, parts, m_fault)) return nullptr;
    const auto container = readInteger<std::uint32_t>(*parts[0], m_fault);
    const auto id = readInteger<std::uint32_t>(*parts[1], m_fault);
    if (m_fault.isSet()) return nullptr;
    model::Table* const table = m_registry.findTable(container, id);
    if (table == nullptr)
        m_fault.set("no table [" + std::to_string(container) + "," + std::to_string(id) + "]");
    return table;
}

void MessageReader::readCells_i(std::string_view key, const Token& list, std::size_t count,
                                model::CellList& cells) {
    std::size_t used = 0;
    readItems(key, list, m_fault, [&](const Token& item) {
        if (used == count)
            m_fault.set("more cells than the " + std::to_string(count) + " columns");
        else
            readCell(item, cells.add(), m_fault);
        ++used;
    });
}

void MessageReader::readRow_i(ObjectReader& line, const model::TableColumns& columns, model::Row& row) {
    row.clear();
    if (const Token* shared = line.find(key::SHARED); shared != nullptr)
        readCells_i(key::SHARED, *shared, columns.m_shared.size(), row.m_shared);
    const Token* const cells = line.find(key::CELLS);
    if (cells == nullptr) return;
    const std::size_t width = columns.m_handles.size();
    if (columns.m_entities.empty()) {
        readCells_i(key::CELLS, *cells, width, row.m_cells);
        return;
    }
    readItems(key::CELLS, *cells, m_fault, [&](const Token& item) {
        if (row.m_ends.size() == columns.m_entities.size())
            m_fault.set("more lists than the " + std::to_string(row.m_ends.size()) + " entities");
        else if (item.m_type != Token::Null)
            readCells_i(key::CELLS, item, width, row.m_cells);
        row.m_ends.push_back(row.m_cells.size());
    });
}

void MessageReader::table_i(ObjectReader& line) {
    model::Table* table = nullptr;
    if (const Token* key = line.require(key::TABLE); key != nullptr) {
        table = tableAt_i(*key);
        m_fault.in(key::TABLE);
    }
    if (line.finish() && table != nullptr) m_sink.table(table->m_announcement, table->m_columns.m_class);
}

void MessageReader::row_i(ObjectReader& line) {
    model::Table* table = nullptr;
    if (const Token* key = line.require(key::TABLE); key != nullptr) {
        table = tableAt_i(*key);
        m_fault.in(key::TABLE);
    }
    if (table != nullptr) readRow_i(line, table->m_columns, m_row);
    if (!line.finish() || table == nullptr) return;
    std::swap(table->m_rowMessage.m_row, m_row);
    m_sink.table(table->m_rowMessage, table->m_columns.m_class);
}

void MessageReader::container_i(ObjectReader& line) {
    auto message = std::make_unique<pwr::MetricContainerInfoMessage>();
    message->m_metricContainerId = line.requireInteger<std::uint32_t>(key::ID);
    message->m_featureName = line.text(key::FEATURE);
    message->m_metricName = line.text(key::METRIC);
    message->m_containerHeader = line.text(key::HEADER);
    message->m_timelineTableType =
        static_cast<pwr::TimelineTableType>(line.integer<std::uint8_t>(key::TIMELINE, 0));
    std::unique_ptr<pwr::TextNotes> notes;
    if (line.find(key::NOTES) != nullptr)
        notes = std::make_unique<pwr::TextNotes>(line.value(
            key::NOTES, pwr::TextNotes(), [this](const Token& token) { return readNotes(token, m_fault); }));
    model::Table* const table = line.value<model::Table*>(
        key::TABLE, nullptr, [this](const Token& token) { return tableAt_i(token); });
    std::unique_ptr<model::TableSnapshot> row;
    if (line.find(key::SHARED) != nullptr || line.find(key::CELLS) != nullptr) {
        if (table == nullptr) m_fault.set("cells without a table");
        if (!m_fault.isSet()) {
            row = std::make_unique<model::TableSnapshot>(table->m_columns, pwr::TABLE_ROW);
            readRow_i(line, table->m_columns, row->m_row);
        }
    }
    if (!line.finish()) return;

    if (notes != nullptr) message->m_notes = m_registry.keep(std::move(notes));
    if (row != nullptr) {
        message->m_infoTable = m_registry.keep(std::move(row));
    } else if (table != nullptr) {
        message->m_infoTable = &table->m_announcement;
    }
    m_sink.container(*message);
}

void MessageReader::metric_i(ObjectReader& line) {
    const auto id = line.requireInteger<std::uint32_t>(key::METRIC, 1);
    const auto timestamp = line.requireInteger<std::uint64_t>(key::TICKS);
    if (m_fault.isSet()) return;
    model::Metric* const metric = m_registry.findMetric(id);
    if (metric == nullptr) {
        m_fault.set("\"metric\": no metric with id " + std::to_string(id));
    } else if (id <= m_systemId) {
        m_fault.set("\"metric\": id " + std::to_string(id) + " is not above the system message's id, " +
                    std::to_string(m_systemId));
    }
    m_pool.begin(timestamp);
    line.items(key::DATA, [this](const Token& item) { readElement(item, m_references, m_pool.append()); });
    if (line.finish() && metric != nullptr) {
        metric->m_sample = &m_pool.sample();
        m_sink.metric(*metric);
        metric->m_sample = nullptr;
    }
    m_pool.release();
}

}  // namespace host::stream
