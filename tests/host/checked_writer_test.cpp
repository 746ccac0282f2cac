// What a host is told of its mistakes.
#include "host/model/checked_writer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>

#include "host/model/environment.h"
#include "host/model/handles.h"
#include "host/model/metric.h"
#include "host/model/system_metadata.h"
#include "plugins/writer_plugin_capability.h"

namespace {

using host::model::CheckedWriter;

class KeptLog : public pwr::Logger {
public:
    void log(std::int32_t, const char* text) override { m_text += text; }
    std::string m_text;
};

// Takes everything, and counts.
class CountingWriter : public WriterPlugin {
public:
    explicit CountingWriter(bool canFlush) : WriterPlugin("counting") {
        addCapability(new pwr::WriterPluginCapability({}, "counting", "", "", canFlush));
    }
    using WriterPlugin::writeMessage;
    std::int32_t init(const std::string&, bool) override { return count_i(); }
    std::int32_t fini() override { return count_i(); }
    bool flushContinuousResults(const pwr::SystemMetadata&) override { return count_i() == 0; }
    std::int32_t writeMessage(const pwr::SystemMessage&) override { return count_i(); }
    std::int32_t writeMessage(const pwr::TextMessage&) override { return count_i(); }
    std::int32_t writeMessage(const pwr::Metric&) override { return count_i(); }

    int m_calls = 0;

private:
    std::int32_t count_i() { return ++m_calls * 0; }
};

struct Calls {
    explicit Calls(bool canFlush) : plugin(canFlush), writer(plugin) {
        system.m_metadata = &metadata;
        metric.m_name = "Load";
    }

    bool begin(bool continuous = false) {
        return writer.init("run", continuous) == 0 && writer.writeMessage(system) == 0;
    }
    // Delivers a sample of two elements, of which the second is of `entity`.
    bool sample(const pwr::EntityHandle* last) {
        pool.begin(1);
        pool.append().m_entity = &entity;
        pool.append().m_entity = last;
        metric.m_sample = &pool.sample();
        const bool isTaken = writer.writeMessage(metric) == 0;
        metric.m_sample = nullptr;
        return isTaken;
    }

    CountingWriter plugin;
    CheckedWriter writer;
    host::model::SystemMetadata metadata;
    pwr::SystemMessage system;
    pwr::HeaderTextMessage text;
    host::model::Entity entity{1, host::model::HandleTexts("Machine"), "Machine", 1, nullptr};
    host::model::Metric metric;
    host::model::SamplePool pool;
};

TEST(CheckedWriter, TellsWhatAHostDoesWrongAndKeepsItFromTheWriter) {
    const struct {
        const char* told;  // null: all is well
        int calls;         // that reach the writer
        std::function<bool(Calls&)> run;
        bool canFlush = true;
    } cases[] = {
        {nullptr, 6,
         [](Calls& c) {
             return c.begin(true) && c.sample(&c.entity) && c.writer.writeMessage(c.text) == 0 &&
                    c.writer.flushContinuousResults(c.metadata) && c.writer.fini() == 0;
         }},
        {nullptr, 6,
         [](Calls& c) { return c.begin() && c.writer.fini() == 0 && c.begin() && c.writer.fini() == 0; }},
        {"a system message before init", 0, [](Calls& c) { return c.writer.writeMessage(c.system) == 0; }},
        {"a message before the system message", 1,
         [](Calls& c) { return c.writer.init("run", false) == 0 && c.writer.writeMessage(c.text) == 0; }},
        {"a second system message", 2,
         [](Calls& c) { return c.begin() && c.writer.writeMessage(c.system) == 0; }},
        {"a system message without metadata", 1,
         [](Calls& c) {
             c.system.m_metadata = nullptr;
             return c.begin();
         }},
        {"a metric after fini", 3,
         [](Calls& c) { return c.begin() && c.writer.fini() == 0 && c.sample(&c.entity); }},
        {"init of a run that has begun", 2, [](Calls& c) { return c.begin() && c.begin(); }},
        {"fini of a run that has not begun", 0, [](Calls& c) { return c.writer.fini() == 0; }},
        {"a flush in a run that is not continuous", 2,
         [](Calls& c) { return c.begin() && c.writer.flushContinuousResults(c.metadata); }},
        {"a flush, which it cannot do", 2,
         [](Calls& c) { return c.begin(true) && c.writer.flushContinuousResults(c.metadata); }, false},
        {"metric \"Load\": no sample", 2,
         [](Calls& c) { return c.begin() && c.writer.writeMessage(c.metric) == 0; }},
        {"metric \"Load\": element 2 has no entity", 2,
         [](Calls& c) { return c.begin() && c.sample(nullptr); }},
        {"metric \"Load\": a null entity", 2,
         [](Calls& c) {
             c.metric.m_entities.push_back(nullptr);
             return c.begin() && c.sample(&c.entity);
         }},
    };
    KeptLog log;
    host::model::Environment environment(log, log);
    ::setenv("PWR_HOST_CHECK", "", 1);
    for (const auto& test : cases) {
        SCOPED_TRACE(test.told != nullptr ? test.told : "good");
        log.m_text.clear();
        Calls calls(test.canFlush);
        EXPECT_EQ(test.told == nullptr, test.run(calls));
        EXPECT_EQ(test.calls, calls.plugin.m_calls);
        const std::string line = "ERROR: Host check of counting: ";
        EXPECT_EQ(test.told == nullptr ? "" : line + test.told + "\n", log.m_text);
    }
    ::unsetenv("PWR_HOST_CHECK");
    log.m_text.clear();
    Calls calls(true);
    EXPECT_TRUE(calls.sample(nullptr));  // goes through, whatever it is
    EXPECT_EQ("", log.m_text);
}

}  // namespace
