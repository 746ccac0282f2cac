// How the engine turns a table message into rows of cells.
#include <string>
#include <vector>

#include "pwr/data_handle.h"
#include "pwr/entity_handle.h"
#include "pwr/messages.h"
#include "pwr/table_message.h"
#include "summary/text_writer_impl.h"

namespace {

const std::string NOTHING;
const std::string INVALID = "Invalid";

const std::string& headerOf(const pwr::DataHandle* handle) {
    return handle != nullptr ? handle->getHeader() : NOTHING;
}

const std::string& fieldNameOf(const pwr::DataHandle* handle) {
    return handle != nullptr ? handle->getFieldName() : NOTHING;
}

// Writes the cells of a row from left to right and keeps in mind whether one was lost. A row that does not
// reach its end ends the table, since later cells would stand under wrong columns.
class RowWriter {
public:
    RowWriter(TempFileManager& manager, const pwr::EntityHandle* entity, int firstColumn)
        : m_manager(manager), m_entity(entity), m_column(firstColumn) {}

    RowWriter(const RowWriter&) = delete;
    RowWriter& operator=(const RowWriter&) = delete;
    ~RowWriter() {
        if (!m_finished) m_manager.stop();
    }

    void write(const std::string& text) {
        // The loss of a table without a file was told when the file could not be created.
        if (m_manager.hasFile() && m_manager.pushString(m_entity, text, m_column) != 0) m_status = 1;
        ++m_column;
    }

    void writeLookedUp(int lookupStatus, const std::string& text, bool valid) {
        if (lookupStatus != 0) m_status = 1;
        write(lookupStatus != 0 ? INVALID : valid ? text : NOTHING);
    }

    // Returns 0, or 1 if a cell was lost.
    int finish() {
        m_finished = true;
        return m_status;
    }

private:
    TempFileManager& m_manager;
    const pwr::EntityHandle* m_entity;
    int m_column;
    int m_status = 0;
    bool m_finished = false;
};

std::vector<std::string> fieldNamesOf(const pwr::TableMessage& message) {
    std::vector<std::string> names;
    for (auto handle = message.sharedHandlesBegin(); handle != message.sharedHandlesEnd(); ++handle)
        names.push_back(fieldNameOf(*handle));
    for (auto handle = message.handlesBegin(); handle != message.handlesEnd(); ++handle) {
        if (message.getEntityCount() == 0) names.push_back(fieldNameOf(*handle));
        for (auto entity = message.entitiesBegin(); entity != message.entitiesEnd(); ++entity)
            names.push_back((*entity)->getQualifiedName() + " " + fieldNameOf(*handle));
    }
    return names;
}

}  // namespace

int TextWriterImpl::handleTitle(const pwr::TableMessage* message, TempFileManager* manager) {
    std::string units;
    const bool hasUnits =
        pwr::TableMessage::quantityToUnits(message->getQuantity(), units, " (units = ", ")");
    manager->setTitle(hasUnits ? message->getTitle() + units : message->getTitle());
    return 0;
}

// The headers go entity by entity, whereas all other rows go handle by handle.
int TextWriterImpl::handleFieldHeaders(const pwr::TableMessage* message, TempFileManager* manager,
                                       int firstColumn) {
    if (!message->hasFieldHeaders()) return 0;
    RowWriter row(*manager, nullptr, 0);
    for (int column = 0; column < firstColumn; ++column) row.write(NOTHING);
    for (auto handle = message->sharedHandlesBegin(); handle != message->sharedHandlesEnd(); ++handle)
        row.write(headerOf(*handle));
    const std::size_t repeats = message->getEntityCount() == 0 ? 1 : message->getEntityCount();
    for (std::size_t i = 0; i < repeats; ++i)
        for (auto handle = message->handlesBegin(); handle != message->handlesEnd(); ++handle)
            row.write(headerOf(*handle));
    return row.finish();
}

int TextWriterImpl::handleFieldMetadata(const pwr::TableMessage* message, TempFileManager* manager,
                                        int firstColumn) {
    const std::vector<std::string> names = fieldNamesOf(*message);
    RowWriter nameRow(*manager, nullptr, firstColumn);
    for (const std::string& name : names) nameRow.write(name);
    RowWriter dashRow(*manager, nullptr, firstColumn);
    for (const std::string& name : names) dashRow.write(getDelimiter(name.size()));
    return nameRow.finish() | dashRow.finish();
}

int TextWriterImpl::handlePerTableTextNotes(const pwr::TableMessage* message) {
    m_tableNotes[message->m_id] = message->getTextNotes();
    return 0;
}

int TextWriterImpl::handleData(const pwr::TableMessage* message, const pwr::EntityHandle* entity,
                               TempFileManager* manager, int firstColumn) {
    RowWriter row(*manager, entity, firstColumn);
    std::string text;
    bool valid = false;
    const auto writeCell = [&](const pwr::DataHandle* handle) {
        const int status = message->getFieldAsString(handle, text, valid);
        row.writeLookedUp(status, text, valid);
    };
    const bool hasEntities = message->getEntityCount() != 0;
    for (auto handle = message->sharedHandlesBegin(); handle != message->sharedHandlesEnd(); ++handle)
        writeCell(*handle);
    for (auto handle = message->handlesBegin(); handle != message->handlesEnd(); ++handle) {
        if (!hasEntities) writeCell(*handle);
        for (auto of = message->entitiesBegin(); of != message->entitiesEnd(); ++of) {
            const int status = message->getFieldAsString(*of, *handle, text, valid);
            row.writeLookedUp(status, text, valid);
        }
    }
    return row.finish();
}

int TextWriterImpl::writeText(TempFileManager* manager, const std::string& text) {
    RowWriter row(*manager, nullptr, 0);
    row.write(text);
    return row.finish();
}

std::string TextWriterImpl::getDelimiter(unsigned long length) const {
    return std::string(length, '-');
}
