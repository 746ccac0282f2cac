// Reads any bytes as a message stream, skipping bad lines, with a writer that looks at everything that it is
// given. The logs and results go nowhere.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/model/environment.h"
#include "host/model/registry.h"
#include "host/session/delivery.h"
#include "host/stream/stream_reader.h"
#include "plugins/writer_plugin.h"
#include "plugins/writer_plugin_capability.h"
#include "pwr/pwr.h"

namespace {

class SilentLog : public pwr::Logger {};

// Touches whatever a message leads to. Nothing of it may be out of bounds, freed or undefined.
class CuriousWriter : public WriterPlugin {
public:
    CuriousWriter() : WriterPlugin("curious") {
        addCapability(new pwr::WriterPluginCapability({}, "curious", "", "", true));
    }

    std::int32_t init(const std::string&, bool) override { return 0; }
    std::int32_t fini() override { return 0; }
    bool flushContinuousResults(const pwr::SystemMetadata&) override { return true; }

    std::int32_t writeMessage(const pwr::TextMessage& message) override {
        m_seen += message.m_text.size();
        return 0;
    }

    std::int32_t writeMessage(const pwr::SystemMessage& message) override {
        std::vector<const pwr::TNode*> threads;
        message.m_metadata->m_topology.getAllThreads(threads);
        for (const pwr::TNode* node : threads)
            for (; node != nullptr; node = node->m_parent)
                m_seen += std::string_view(pwr::s_top_node_types[node->m_type]).size();
        return 0;
    }

    std::int32_t writeMessage(const pwr::TableMessage& message) override {
        std::deque<std::string> cells;
        getColumnTitles(message, cells);
        getRowValues(message, cells);
        if (cells.size() != 2 * message.getFieldCount()) std::abort();
        for (const std::string& cell : cells) m_seen += cell.size();
        return 0;
    }

    std::int32_t writeMessage(const pwr::MetricContainerInfoMessage& message) override {
        m_kept = message.m_infoTable;  // the message itself lives for the call
        return message.m_infoTable != nullptr ? writeMessage(*message.m_infoTable) : 0;
    }

    std::int32_t writeMessage(const pwr::Metric& metric) override {
        if (m_kept != nullptr) m_seen += m_kept->getTitle().size();
        for (const pwr::DataElement* element : metric.getData().elements) {
            look(element->getEntity());
            look(element->getDescriptor());
            look(*element->getValue());
            if (element->getAdditionalInfo() == nullptr) continue;
            for (const auto& [id, value] : *element->getAdditionalInfo()) {
                const pwr::DataHandle* handle = nullptr;
                if (pwr::DataHandle::get(id, handle) == 0) look(handle);
                look(value);
            }
        }
        return 0;
    }

private:
    void look(const pwr::DataHandle* handle) {
        if (handle == nullptr) return;
        m_seen += handle->getQualifiedName().size();
        if (const auto* values = dynamic_cast<const pwr::AttributeValueManager*>(handle); values != nullptr)
            for (const auto& [attribute, value] : *values)
                if (attribute != nullptr) m_seen += attribute->getName().size();
    }

    void look(const pwr::Data& value) {
        pwr::Data copy(value);
        copy.multiplyValue(1.5);
        copy.convertToReal(&value);
        pwr::RealFormatter(3, 1).format(m_text, copy);
        value.toFormattedString(m_text);
        m_seen += m_text.size();
    }

    const pwr::TableMessage* m_kept = nullptr;
    std::size_t m_seen = 0;
    std::string m_text;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    host::model::Registry::reset();
    SilentLog log;
    host::model::Environment environment(log, log);
    CuriousWriter writer;
    host::session::Delivery delivery;
    delivery.add(writer);
    delivery.init("run", true);
    host::stream::StreamReader reader(delivery);
    const std::string bytes(data, data + size);
    std::uint64_t number = 0;
    for (std::size_t begin = 0; begin <= bytes.size();) {
        const std::size_t end = std::min(bytes.find('\n', begin), bytes.size());
        const bool isGood = reader.line(std::string_view(bytes).substr(begin, end - begin), ++number);
        if (!isGood && reader.error().empty()) std::abort();
        begin = end + 1;
    }
    delivery.fini();
    return 0;
}
