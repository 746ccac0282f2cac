#include "host/session/delivery.h"

#include <utility>

#include "host/model/registry.h"
#include "plugins/writer_plugin.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/messages.h"
#include "pwr/metric.h"

namespace host::session {

void Delivery::add(WriterPlugin& plugin) {
    // Of a writer there is exactly one capability, and it is a writer's.
    const auto& capability = *static_cast<const pwr::WriterPluginCapability*>(plugin.m_capabilities.front());
    Writer writer;
    writer.m_name = capability.m_name;
    writer.m_plugin = &plugin;
    writer.m_tableClasses = capability.m_tableClasses;
    writer.m_canFlush = (capability.m_flags & pwr::PluginCapability::FLAG_CONTINUOUS) != 0;
    m_writers.push_back(std::move(writer));
}

void Delivery::remove(const std::string& name) {
    std::erase_if(m_writers, [&](const Writer& writer) { return writer.m_name == name; });
}

void Delivery::setObserver(std::function<void(const StatusRecord&)> observer) {
    m_observer = std::move(observer);
}

void Delivery::setReasons(std::function<void()> begin, std::function<std::string()> end) {
    m_beginReason = std::move(begin);
    m_endReason = std::move(end);
}

template <typename Call>
std::int32_t Delivery::call_i(Writer& writer, const char* operation, Call call) {
    std::int32_t status = 1;
    try {
        status = call(*writer.m_plugin);
    } catch (...) {
        // The status says it. A writer may throw what is no std::exception.
    }
    if (status == 0) return 0;
    if (!writer.m_isRefused) ++writer.m_failures;
    if (m_observer) m_observer({m_line, writer.m_name, operation, status});
    return status;
}

template <typename Call>
std::int32_t Delivery::callForReason_i(Writer& writer, const char* operation, Call call) {
    if (m_beginReason) m_beginReason();
    const std::int32_t status = call_i(writer, operation, call);
    std::string reason = m_endReason ? m_endReason() : std::string();
    if (status != 0) writer.m_reason = std::move(reason);
    return status;
}

template <typename Message>
void Delivery::write_i(const char* operation, const Message& message) {
    for (Writer& writer : m_writers)
        if (writer.m_isActive)
            call_i(writer, operation, [&](WriterPlugin& plugin) { return plugin.writeMessage(message); });
}

void Delivery::init(const std::string& outputName, bool continuous) {
    m_line = 0;
    m_isContinuous = continuous;
    for (Writer& writer : m_writers)
        writer.m_isActive = callForReason_i(writer, "init", [&](WriterPlugin& plugin) {
                                return plugin.init(outputName, continuous);
                            }) == 0;
}

void Delivery::fini() {
    m_line = 0;
    for (Writer& writer : m_writers) {
        if (!writer.m_isActive) continue;
        writer.m_isActive = false;
        call_i(writer, "fini", [&](WriterPlugin& plugin) {
            const std::int32_t status = plugin.fini();
            writer.m_isRefused = status == WriterPlugin::STATUS_REFUSED;
            return status;
        });
    }
}

void Delivery::table(const pwr::TableMessage& message, pwr::TableClass tableClass) {
    for (Writer& writer : m_writers) {
        if (!writer.m_isActive) continue;
        if (!writer.m_tableClasses.empty() && !writer.m_tableClasses.contains(tableClass)) continue;
        call_i(writer, "table", [&](WriterPlugin& plugin) { return plugin.writeMessage(message); });
    }
}

void Delivery::text(const pwr::TextMessage& message) {
    write_i("text", message);
}

void Delivery::system(const pwr::SystemMessage& message) {
    // The metadata are the registry's, which gives them to writers as constant.
    if (m_start != 0) model::Registry::instance().m_metadata->m_collectionTime = m_start;
    for (Writer& writer : m_writers)
        if (writer.m_isActive)
            callForReason_i(writer, "system",
                            [&](WriterPlugin& plugin) { return plugin.writeMessage(message); });
}

void Delivery::metric(const pwr::Metric& metric) {
    write_i("metric", metric);
}

void Delivery::container(const pwr::MetricContainerInfoMessage& message) {
    write_i("container", message);
}

void Delivery::id(const pwr::IdMessage& message) {
    write_i("id", message);
}

void Delivery::flush(const pwr::SystemMetadata& metadata) {
    if (!m_isContinuous) return;
    for (Writer& writer : m_writers) {
        if (!writer.m_isActive || !writer.m_canFlush) continue;
        call_i(writer, "flush",
               [&](WriterPlugin& plugin) { return plugin.flushContinuousResults(metadata) ? 0 : 1; });
    }
}

std::size_t Delivery::failures() const {
    std::size_t failures = 0;
    for (const Writer& writer : m_writers) failures += writer.m_failures;
    return failures;
}

}  // namespace host::session
