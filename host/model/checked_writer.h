#pragma once

#include <cstdint>
#include <string>

#include "plugins/writer_plugin.h"
#include "pwr/messages.h"
#include "pwr/metric.h"

namespace host::model {

// A writer as its host calls it. With PWR_HOST_CHECK set in the environment every call is checked first: the
// order of the calls, and pointers that must not be null. What is wrong is reported in the error log of the
// environment, at level 1, and goes no further: the call fails. Without the variable calls go straight
// through.
class CheckedWriter {
public:
    // `writer` stays the library's.
    explicit CheckedWriter(WriterPlugin& writer);

    // See WriterPlugin.
    std::int32_t init(const std::string& outputName, bool continuous);
    std::int32_t fini();
    bool flushContinuousResults(const pwr::SystemMetadata& metadata);

    template <typename Message>
    std::int32_t writeMessage(const Message& message) {
        return m_isChecked && !isGood_i(message) ? 1 : m_writer->writeMessage(message);
    }

    WriterPlugin& writer() const { return *m_writer; }

private:
    enum class State : std::uint8_t { Made, Started, Open, Ended };

    bool isGood_i(const pwr::SystemMessage& message);
    bool isGood_i(const pwr::Metric& metric) const;
    bool isGood_i(const pwr::WriterMessage& message) const;
    bool isOpen_i(const char* call) const;
    bool complain_i(const std::string& what) const;

    WriterPlugin* m_writer;
    bool m_isChecked;
    bool m_isContinuous = false;
    State m_state = State::Made;
};

}  // namespace host::model
