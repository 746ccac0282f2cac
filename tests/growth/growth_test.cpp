// Twice the input takes about twice the steps.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <functional>
#include <string>

#include "host/model/registry.h"
#include "host/model/table.h"
#include "import/vyrtawriter_plugin.h"
#include "overtime/phmwriter_text_plugin.h"
#include "plugins/flat_map.h"
#include "plugins/writer_plugin_capability.h"
#include "summary/summarywriter_plugin.h"
#include "tests/growth/step_counter.h"
#include "tests/support/stream_runner.h"

namespace {

constexpr double FACTOR = 2.2;

std::string text(int number) {
    return std::to_string(number);
}

// Runs a writer on a stream, and returns the steps that this takes.
template <typename Writer>
unsigned long run(const std::string& stream, const std::function<void()>& configure = {}) {
    test::StreamRunner runner;
    runner.m_environment.m_logLevel = 0;
    if (configure) configure();
    Writer writer;
    const unsigned long before = g_steps;
    runner.add(writer);
    runner.begin("growth");
    EXPECT_TRUE(runner.feed(stream)) << runner.m_error;
    runner.finish();
    return g_steps - before;
}

// A report whose containers are wanted in the opposite of their order.
unsigned long reorderReport(int containers) {
    std::string stream = "{\"msg\":\"system\",\"tscMHz\":1000}";
    host::model::OutputConfiguration::Names names;
    for (int i = 1; i <= containers; ++i) {
        stream += "\n{\"msg\":\"container\",\"id\":" + text(i) + ",\"feature\":\"f\",\"metric\":\"m" +
                  text(i) + "\"}";
        // All containers have a place in the report, few a table with its file.
        stream += "\n{\"def\":\"table\",\"container\":" + text(i) + ",\"id\":1,\"title\":\"T\"}";
        stream += "\n{\"msg\":\"table\",\"table\":[" + text(i) + ",1]}";
        names.push_front("m" + text(i));
    }
    return run<SummaryWriter>(stream, [&] {
        auto& configuration = host::model::Registry::instance().m_configuration;
        configuration.m_features = host::model::OutputConfiguration::Names{"f"};
        configuration.m_metrics["f"] = names;
    });
}

// Threads whose ends are those of their processes; with one pid for all, the times decide.
unsigned long endThreads(int processes, bool isOnePid) {
    std::string stream = R"({"def":"attribute","id":1,"name":"process","type":3}
{"def":"attribute","id":2,"name":"thread","type":4}
{"def":"entity","id":3,"name":"CPU"}
{"def":"descriptor","id":4,"name":"running"}
{"def":"metric","id":5,"name":"Schedule","type":"TRACED_EVENT"}
{"msg":"system","tscMHz":1000,"cpuMHz":1000,"start":1})";
    for (int i = 1; i <= processes; ++i) {
        const std::string process = text(1000000 + i);
        const std::string thread = text(8000000 + i);
        const std::string pid = isOnePid ? "7" : text(i);
        stream += "\n{\"def\":\"process\",\"id\":" + process + ",\"pid\":" + pid +
                  ",\"path\":\"p\",\"start\":" + text(10 * i) + ",\"end\":" + text(10 * i + 5) + "}";
        stream += "\n{\"def\":\"thread\",\"id\":" + thread + ",\"tid\":" + text(i) + ",\"pid\":" + pid +
                  ",\"start\":" + text(10 * i + 1) + "}";
        stream += "\n{\"msg\":\"metric\",\"metric\":5,\"t\":" + text(i + 1) +
                  ",\"data\":[{\"e\":3,\"d\":4,\"dur\":1,\"v\":{\"u\":1},\"info\":[[1,{\"h\":" + process +
                  "}],[2,{\"h\":" + thread + "}]]}]}";
    }
    return run<VyrtaWriter>(stream);
}

// The first message of a metric that declares many descriptors for each of its entities.
template <typename Writer>
unsigned long declareColumns(int entities, int descriptors) {
    std::string definitions;
    std::string pairs;
    std::string data;
    for (int i = 1; i <= descriptors; ++i)
        definitions += "\n{\"def\":\"descriptor\",\"id\":" + text(1000000 + i) + ",\"name\":\"d\"}";
    for (int i = 1; i <= entities; ++i) {
        definitions += "\n{\"def\":\"entity\",\"id\":" + text(i) + ",\"name\":\"e\"}";
        data += (i > 1 ? ",{\"e\":" : "{\"e\":") + text(i) + ",\"d\":1000001,\"v\":{\"u\":1}}";
        for (int j = 1; j <= descriptors; ++j)
            pairs += (pairs.empty() ? "[" : ",[") + text(i) + "," + text(1000000 + j) + "]";
    }
    std::string list;
    for (int i = 1; i <= entities; ++i) list += (i > 1 ? "," : "") + text(i);
    return run<Writer>(
        "{\"msg\":\"system\",\"tscMHz\":1000}" + definitions +
        "\n{\"def\":\"metric\",\"id\":5,\"name\":\"m\",\"type\":\"SAMPLED_VALUE\",\"entities\":[" + list +
        "],\"descriptors\":[" + pairs + "]}\n{\"msg\":\"metric\",\"metric\":5,\"t\":1,\"data\":[" + data +
        "]}");
}

// Look-ups by entity and descriptor, where the ids of the entities share their lower half.
unsigned long lookUp(int entities) {
    const unsigned long before = g_steps;
    FlatMap<std::uint64_t, int> map;
    for (int i = 1; i <= entities; ++i) map[std::uint64_t{0x10000} * static_cast<unsigned>(i) << 32 | 5] = i;
    EXPECT_EQ(map.size(), static_cast<std::size_t>(entities));
    return g_steps - before;
}

unsigned long defineParents(int depth) {
    std::string stream = R"({"def":"entity","id":1,"name":"root"})";
    for (int i = 2; i <= depth; ++i)
        stream +=
            "\n{\"def\":\"entity\",\"id\":" + text(i) + ",\"name\":\"e\",\"parent\":" + text(i - 1) + "}";
    stream += "\n{\"def\":\"descriptor\",\"id\":9000001,\"name\":\"d\"}";
    stream += "\n{\"def\":\"metric\",\"id\":5,\"name\":\"m\",\"type\":\"SAMPLED_VALUE\"}";
    stream += "\n{\"msg\":\"system\",\"tscMHz\":1000,\"cpuMHz\":1000}";
    stream += "\n{\"msg\":\"metric\",\"metric\":5,\"t\":1,\"data\":[{\"e\":" + text(depth) +
              ",\"d\":9000001,\"v\":{\"u\":1}}]}";
    return run<VyrtaWriter>(stream);
}

unsigned long defineRates(int length) {
    std::string stream = R"({"def":"quantity","id":1,"kind":1,"name":"q"})";
    for (int i = 2; i <= length; ++i)
        stream += "\n{\"def\":\"quantity\",\"id\":" + text(i) + ",\"kind\":1,\"name\":\"q\",\"rate\":[" +
                  text(i - 1) + ",2]}";
    stream += "\n{\"def\":\"entity\",\"id\":1,\"name\":\"e\"}";
    stream += "\n{\"def\":\"descriptor\",\"id\":9000001,\"name\":\"d\"}";
    stream += "\n{\"def\":\"metric\",\"id\":5,\"name\":\"m\",\"type\":\"SAMPLED_VALUE\",\"quantity\":" +
              text(length) + "}";
    stream += "\n{\"msg\":\"system\",\"tscMHz\":1000,\"cpuMHz\":1000}";
    stream +=
        "\n{\"msg\":\"metric\",\"metric\":5,\"t\":1,\"data\":[{\"e\":1,\"d\":9000001,\"v\":{\"u\":1}}]}";
    return run<VyrtaWriter>(stream);
}

// Counts the cells that rows are delivered with.
class CellCounter : public WriterPlugin {
public:
    CellCounter() : WriterPlugin("cells") {
        addCapability(new pwr::WriterPluginCapability({}, "cells", "", "", false));
    }
    std::int32_t init(const std::string&, bool) override { return 0; }
    std::int32_t fini() override { return 0; }
    std::int32_t writeMessage(const pwr::TableMessage& message) override {
        m_cells += static_cast<const host::model::TableSnapshot&>(message).m_row.m_cells.size();
        return 0;
    }
    using WriterPlugin::writeMessage;

    std::size_t m_cells = 0;
};

// However wide the table, a row takes what its line says.
TEST(Growth, OfARowIsThatOfItsLine) {
    std::string entities;
    std::string handles;
    std::string stream;
    for (int i = 1; i <= 1000; ++i) {
        stream += "{\"def\":\"entity\",\"id\":" + text(i) + ",\"name\":\"e\"}\n";
        stream += "{\"def\":\"handle\",\"id\":" + text(10000 + i) + ",\"name\":\"h\"}\n";
        entities += (i > 1 ? "," : "") + text(i);
        handles += (i > 1 ? "," : "") + text(10000 + i);
    }
    stream += "{\"def\":\"table\",\"container\":1,\"id\":1,\"title\":\"T\",\"entities\":[" + entities +
              "],\"handles\":[" + handles + "]}\n";
    stream += R"({"msg":"system","tscMHz":1000}
{"msg":"row","table":[1,1],"cells":[null,["a"],null,["b","c"]]})";
    test::StreamRunner runner;
    CellCounter writer;
    runner.add(writer);
    runner.begin("growth");
    ASSERT_TRUE(runner.feed(stream)) << runner.m_error;
    EXPECT_EQ(writer.m_cells, 3u);
}

TEST(Growth, IsThatOfTheInput) {
    struct rlimit files {};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    const struct {
        const char* what;
        int size;
        std::function<unsigned long(int)> stepsOf;
    } cases[] = {
        {"order of a report", 400, reorderReport},
        {"ends of threads", 400, [](int size) { return endThreads(size, false); }},
        {"ends of threads of one pid", 400, [](int size) { return endThreads(size, true); }},
        {"columns in tables of entities", 100,
         [](int size) { return declareColumns<IntWriterV2>(size, 50); }},
        {"columns in a table", 400, [](int size) { return declareColumns<PhmTextWriter>(size, 10); }},
        {"keys of two ids", 1000, lookUp},
        {"depth of entities", 80000, defineParents},
        {"length of a chain of rates", 80000, defineRates},
    };
    for (const auto& test : cases) {
        const unsigned long once = test.stepsOf(test.size);
        const unsigned long twice = test.stepsOf(2 * test.size);
        EXPECT_GT(once, 0u);
        EXPECT_LE(static_cast<double>(twice), FACTOR * static_cast<double>(once))
            << test.what << ": " << once << ", then " << twice;
    }
}

}  // namespace
