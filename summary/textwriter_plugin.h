#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "plugins/writer_plugin.h"

class TextWriterImpl;

// A writer over the engine of the summary report. A derived class makes the engine and sends it tables.
class TextWriter : public WriterPlugin {
public:
    // `id` is the plug-in's UUID text.
    explicit TextWriter(const std::string& id);
    ~TextWriter() override;

    // Creates the report. Returns 0, or 1 if that fails. `continuous` makes no difference.
    std::int32_t init(const std::string& outputName, bool continuous) override;

    // Writes the report. Returns 0, or 1 if the report or its order is missing.
    std::int32_t fini() override;

    // Files the text under the message's id. Returns 0, or 1 if it could not be stored.
    std::int32_t writeMessage(const pwr::TextMessage& message) override;

    // Takes the TSC frequency. Returns 0.
    std::int32_t writeMessage(const pwr::SystemMessage& message) override;

    using WriterPlugin::writeMessage;

protected:
    std::unique_ptr<TextWriterImpl> m_impl;  // null until a derived constructor has set it
};
