#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "plugins/log.h"
#include "plugins/memory_guard.h"
#include "plugins/writer_plugin.h"
#include "pwr/messages.h"
#include "pwr/plugin_environment.h"

namespace exporting {

// The part of a writer that is the same for all whose results grow with a run's samples: it makes a Run of
// the system message, hands the samples to it, and keeps a lack of memory inside.
//
// A Run has
//   static constexpr const char* NAME;                the writer's option name
//   Run(const std::string& outputName, bool continuous, const pwr::SystemMetadata& metadata);
//   std::int32_t add(const pwr::Metric& metric);      0, or 1 if something of the sample is lost
//   bool flush(const pwr::SystemMetadata& metadata);  completes a numbered file; in continuous runs alone
//   std::int32_t finish(const pwr::SystemMetadata& metadata);  completes what is left; the status of the
//   writer's fini
// The metadata are the host's and live longer than the run.
template <typename Run>
class RunWriter : public WriterPlugin {
public:
    using WriterPlugin::WriterPlugin;

    // Starts the run of which the results are called `outputName`. Returns 0, or 1 without memory.
    std::int32_t init(const std::string& outputName, bool continuous) override {
        return guardMemory(Run::NAME, 1, [&] {
            m_outputName = outputName;
            m_continuous = continuous;
            return 0;
        });
    }

    // Completes the results. Without a system message there are none: a warning and 1. In a continuous run
    // ends the run as a whole.
    std::int32_t fini() override {
        std::int32_t status = 1;
        if (m_run != nullptr)
            status = guardMemory(Run::NAME, 1, [this] { return m_run->finish(*m_metadata); });
        else
            LOG_WARNING("The writer \"%s\" got no system message, so it writes no file\n", Run::NAME);
        if (!m_continuous) return status;
        const bool isEnded = g_pluginEnvironment->getFileOutputHandle("")->finish() == 0;
        return status == 0 && !isEnded ? 1 : status;
    }

    // Completes the numbered files and begins the next ones. False before the system message, outside of
    // continuous runs, and if something is missing.
    bool flushContinuousResults(const pwr::SystemMetadata& metadata) override {
        if (m_run == nullptr || !m_continuous) return false;
        return guardMemory(Run::NAME, false, [&] { return m_run->flush(metadata); });
    }

    using WriterPlugin::writeMessage;

    // Begins the run; a second system message changes nothing.
    std::int32_t writeMessage(const pwr::SystemMessage& message) override {
        return guardMemory(Run::NAME, 1, [&] {
            m_metadata = message.m_metadata;
            if (m_run == nullptr) m_run = std::make_unique<Run>(m_outputName, m_continuous, *m_metadata);
            return 0;
        });
    }

    std::int32_t writeMessage(const pwr::Metric& metric) override { return hand(metric); }

protected:
    // Gives the message to the run. Returns 1 before the system message, or if memory is lacking.
    template <typename Message>
    std::int32_t hand(const Message& message) {
        if (m_run == nullptr) {
            LOG_WARNING("The writer \"%s\" got data before a system message\n", Run::NAME);
            return 1;
        }
        return guardMemory(Run::NAME, 1, [&] { return m_run->add(message); });
    }

private:
    std::string m_outputName;
    bool m_continuous = false;
    const pwr::SystemMetadata* m_metadata = nullptr;  // the host's; null until the system message
    std::unique_ptr<Run> m_run;                       // the same
};

}  // namespace exporting
