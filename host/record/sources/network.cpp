// What network devices sent and received.
#include "host/base/text.h"
#include "host/record/sources/device_counters.h"
#include "host/record/sources/sources.h"

namespace host::record {

namespace {

class NetworkSource : public Source {
public:
    explicit NetworkSource(SourceContext& context)
        : m_file(context, "proc/net/dev"),
          m_counters(context,
                     {{"Received", 0, 0, 1},
                      {"Sent", 0, 8, 1},
                      {"Received", 1, 1, 1},
                      {"Sent", 1, 9, 1},
                      {"Receive Errors", 2, 2, 1},
                      {"Send Errors", 2, 10, 1},
                      {"Receive Drops", 2, 3, 1},
                      {"Send Drops", 2, 11, 1}},
                     {counterSpec("network", "Network Transfer", "B", {"Device", "Direction"}),
                      counterSpec("network", "Network Packets", "packets", {"Device", "Direction"}),
                      counterSpec("network", "Network Errors", "packets", {"Device", "Kind"})}) {}

    bool prepare() override {
        bool isThere = false;
        read_i([&](const std::string& device) {
            m_counters.add(device);
            isThere = true;
        });
        if (isThere) m_counters.define();
        return isThere;
    }

    void baseline(std::uint64_t ticks) override {
        m_counters.baseline(ticks);
        read_i([&](const std::string& device) { m_counters.start(device, m_fields); });
    }

    void sample(std::uint64_t ticks) override {
        m_counters.begin(ticks);
        read_i([&](const std::string& device) { m_counters.take(device, m_fields); });
        m_counters.end();
    }

    void report(emit::Report& report) override { m_counters.report(report); }

private:
    // A line for each device, "NAME: NUMBER...", after two of titles, which hold no colon. An alias has one
    // in its name.
    void read_i(auto withDevice) {
        std::string_view text;
        std::string_view line;
        if (!m_file.isReadable() || !m_file.readText(text, m_buffer)) return;
        while (base::takeLine(text, line)) {
            const std::size_t colon = line.rfind(':');
            if (colon == std::string_view::npos) continue;
            const std::string device(base::trimmed(line.substr(0, colon)));
            line.remove_prefix(colon + 1);
            m_fields.clear();
            std::uint64_t number = 0;
            while (base::takeUnsigned(line, number)) m_fields.push_back(number);
            if (m_fields.size() >= 12) withDevice(device);
        }
    }

    WatchedFile m_file;
    DeviceCounters m_counters;
    std::vector<std::uint64_t> m_fields;
    std::vector<char> m_buffer;
};

}  // namespace

SourcePtr makeNetworkSource(SourceContext& context) {
    return std::make_unique<NetworkSource>(context);
}

}  // namespace host::record
