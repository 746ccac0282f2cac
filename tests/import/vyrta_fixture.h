#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "import/vyrtawriter_plugin.h"
#include "tests/support/stream_runner.h"

// A writer behind a stream. The log shows warnings.
class VyrtaTest : public testing::Test {
protected:
    static constexpr unsigned long HEADER = 0;  // the header block's key

    VyrtaTest() {
        m_runner.m_environment.m_logLevel = 2;
        m_runner.add(m_writer);
        m_runner.begin("run");
    }

    void feed(std::string_view lines) { ASSERT_TRUE(m_runner.feed(lines)) << m_runner.m_error; }
    void sendSystem() { feed(R"({"msg":"system","tscMHz":1000,"cpuMHz":1000,"start":100,"stop":900})"); }

    // The bytes of a block so far, empty if there is none.
    std::string block(unsigned long key) const {
        const VyrtaBackingStoreManager* const manager = m_writer.m_impl->findBackingStore(key);
        if (manager == nullptr) return std::string();
        std::string bytes(manager->m_store->size(), '\0');
        manager->m_store->resetForRead();
        EXPECT_EQ(manager->m_store->read(bytes.data(), bytes.size()), static_cast<long>(bytes.size()));
        return bytes;
    }

    // The bytes that a call appends to a block.
    template <typename Call>
    std::string appended(unsigned long key, Call call) const {
        const std::size_t before = block(key).size();
        call();
        return block(key).substr(before);
    }

    test::StreamRunner m_runner;
    VyrtaWriter m_writer;
};

// Bytes from hexadecimal digits; blanks are skipped.
inline std::string hex(std::string_view digits) {
    std::string bytes;
    std::string pair;
    for (const char digit : digits) {
        if (digit == ' ') continue;
        pair += digit;
        if (pair.size() < 2) continue;
        bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
        pair.clear();
    }
    return bytes;
}
