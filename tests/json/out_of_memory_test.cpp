// Lets every allocation of a run fail in turn.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <new>
#include <sstream>
#include <string_view>

#include "host/model/environment.h"
#include "host/model/handles.h"
#include "host/model/metric.h"
#include "host/model/system_metadata.h"
#include "json/json_plugin.h"
#include "pwr/messages.h"

namespace {

long s_allocationsLeft = -1;  // negative: no limit; at 0 one allocation fails, or all from there on
bool s_failsEver = false;
long s_failures = 0;

void* allocate(std::size_t size) {
    if (s_allocationsLeft == 0) {
        ++s_failures;
        if (!s_failsEver) s_allocationsLeft = -1;
        throw std::bad_alloc();
    }
    if (s_allocationsLeft > 0) --s_allocationsLeft;
    if (void* memory = std::malloc(size != 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept try {
    return allocate(size);
} catch (const std::bad_alloc&) {
    return nullptr;
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

// A run of a few samples of each kind, built before memory gets scarce.
class SmallRun {
public:
    SmallRun() {
        m_metadata.m_tscFrequency = 1.0F;
        m_metadata.m_commandLine = {"a command that is longer than a short string", "-x"};
        for (unsigned long id = 1; id <= 18; ++id) {
            const std::string name = std::string("a name that is not short ").append(std::to_string(id));
            m_entities.push_back(
                std::make_unique<host::model::Entity>(id, host::model::HandleTexts(name), name, 1, nullptr));
            m_states.push_back(
                std::make_unique<host::model::Descriptor>(100 + id, host::model::HandleTexts(name)));
        }
        for (const auto type : {pwr::Metric::SAMPLED_DELTA, pwr::Metric::SAMPLED_RESIDENCY,
                                pwr::Metric::SAMPLED_VALUE, pwr::Metric::TRACED_EVENT}) {
            m_metrics.push_back(std::make_unique<host::model::Metric>());
            m_metrics.back()->m_metricType = type;
            m_metrics.back()->m_id = 500 + static_cast<unsigned int>(type);
            m_metrics.back()->m_name = "a metric's name that is not short";
        }
        addElements_i();
        m_message.m_metadata = &m_metadata;
    }

    // Returns how many operations failed. `name` must be short, so that to pass it needs no memory.
    int deliver(const std::string& name, bool continuous) {
        const auto writer = std::make_unique<JSONWriter>();
        s_failures = 0;
        s_allocationsLeft = m_allocations;
        int failed = writer->init(name, continuous) != 0;
        if (failed == 0) failed = deliverTo_i(*writer, continuous);
        s_allocationsLeft = -1;
        return failed;
    }

    void limit(long allocations) { m_allocations = allocations; }

private:
    int deliverTo_i(JSONWriter& writer, bool continuous) {
        int failed = writer.writeMessage(m_message) != 0;
        for (m_sample.timestamp = 1000; m_sample.timestamp < 5000; m_sample.timestamp += 1000) {
            for (const auto& metric : m_metrics) {
                metric->m_sample = &m_sample;
                failed += writer.writeMessage(*metric) != 0;
            }
        }
        failed += continuous ? !writer.flushContinuousResults(m_metadata) : writer.fini() != 0;
        return failed;
    }

    void addElements_i() {
        for (std::size_t i = 0; i < m_entities.size(); ++i) {
            m_elements.push_back(std::make_unique<host::model::Element>());
            host::model::Element& element = *m_elements.back();
            element.m_entity = m_entities[i].get();
            element.m_descriptor = m_states[i].get();
            element.m_duration = 1000;
            if (i % 3 == 0)
                element.m_value.setHandle(m_states[i].get());
            else if (i % 3 == 1)
                element.m_value.setString("a text that is longer than a short string");
            else
                element.m_value.setUInt(i);
            m_sample.elements.push_back(&element);
        }
    }

    long m_allocations = -1;
    host::model::SystemMetadata m_metadata;
    pwr::SystemMessage m_message;
    std::vector<std::unique_ptr<host::model::Entity>> m_entities;
    std::vector<std::unique_ptr<host::model::Descriptor>> m_states;
    std::vector<std::unique_ptr<host::model::Metric>> m_metrics;
    std::vector<std::unique_ptr<host::model::Element>> m_elements;
    pwr::Metric::Sample m_sample;
};

std::string contentOf(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

// Counts lines, without any memory, but for the note that the run's metrics share a name.
class LineCount : public pwr::Logger {
public:
    void log(std::int32_t, const char* text) override {
        if (std::string_view(text).starts_with("Note: The JSON document")) return;
        ++(std::string_view(text).starts_with("ERROR: Out of memory") ? m_expected : m_others);
    }
    long m_expected = 0;
    long m_others = 0;
};

class OutOfMemoryTest : public testing::Test {
protected:
    OutOfMemoryTest() { m_environment.m_logLevel = 1; }

    // Makes runs until one needs no more memory than it gets, and returns how many failed. No exception may
    // leave the writer, and each run that lacked memory must say so.
    long failAllocationsInTurn(const std::string& name, bool continuous) {
        for (long limit = 0;; ++limit) {
            m_run.limit(limit);
            const long linesBefore = m_log.m_expected;
            const int failed = m_run.deliver(name, continuous);
            if (s_failures == 0) return limit;
            // The standard library's sort makes do with less memory.
            if (failed == 0 && !m_whole.empty() && contentOf(name + ".ztjson") == m_whole) continue;
            EXPECT_GT(failed, 0) << limit;
            EXPECT_GT(m_log.m_expected, linesBefore) << limit;
        }
    }

    LineCount m_log;
    host::model::Environment m_environment{m_log, m_log};
    SmallRun m_run;
    std::string m_whole;  // the document of a run that nothing happens to
};

TEST_F(OutOfMemoryTest, IsReportedByTheDocumentsRun) {
    ASSERT_EQ(m_run.deliver("all", false), 0);
    m_whole = contentOf("all.ztjson");
    ASSERT_GT(m_whole.size(), 1000U);
    for (const bool ever : {false, true}) {
        s_failsEver = ever;
        EXPECT_GT(failAllocationsInTurn("some", false), 200);
        EXPECT_EQ(contentOf("some.ztjson"), m_whole);
    }
    EXPECT_EQ(m_log.m_others, 0);
}

TEST_F(OutOfMemoryTest, IsReportedByAContinuousRun) {
    for (const bool ever : {false, true}) {
        s_failsEver = ever;
        EXPECT_GT(failAllocationsInTurn("cont", true), 10);
    }
}

}  // namespace
