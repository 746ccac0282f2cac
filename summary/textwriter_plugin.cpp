#include "summary/textwriter_plugin.h"

#include "pwr/messages.h"
#include "pwr/system_metadata.h"
#include "summary/text_writer_impl.h"

TextWriter::TextWriter(const std::string& id) : WriterPlugin(id) {}

TextWriter::~TextWriter() = default;

std::int32_t TextWriter::init(const std::string& outputName, bool) {
    return m_impl->init(outputName);
}

std::int32_t TextWriter::fini() {
    return m_impl->fini();
}

std::int32_t TextWriter::writeMessage(const pwr::TextMessage& message) {
    bool created = false;
    TempFileManager* const manager = m_impl->getTempFile(message.m_id, created, 1);
    return manager == nullptr ? 1 : m_impl->writeText(manager, message.m_text);
}

std::int32_t TextWriter::writeMessage(const pwr::SystemMessage& message) {
    m_impl->setTscFrequency(message.m_metadata->m_tscFrequency);
    return 0;
}
