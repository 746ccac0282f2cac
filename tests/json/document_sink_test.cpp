#include "json/document_sink.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/plugins/test_environment.h"

namespace {

std::string contentOf(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

// Writes a document of about this many bytes, drained after every string.
bool writeStrings(DocumentSink& sink, std::size_t size) {
    sink.writer().StartArray();
    for (std::size_t written = 0; written < size; written += 103) {
        writeString(sink.writer(), std::string(100, 'x'));
        sink.drainIfFull();
    }
    sink.writer().EndArray();
    return sink.finish();
}

TEST(DocumentSinkTest, WritesTheSameHoweverOftenItDrains) {
    TestEnvironment environment;
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{700}, std::size_t{20000}}) {
        std::ofstream("document") << "an old file that is longer than a short document";
        DocumentSink sink;
        ASSERT_TRUE(sink.open("document"));
        EXPECT_TRUE(writeStrings(sink, count * 103));
        std::string expected = "[";
        for (std::size_t i = 0; i < count; ++i)
            expected += (i == 0 ? "\"" : ",\"") + std::string(100, 'x') + "\"";
        EXPECT_EQ(contentOf("document"), expected + "]\n");
    }
    EXPECT_EQ(environment.errorLines(), "");
}

TEST(DocumentSinkTest, ReportsAFullDiskOnce) {
    const std::string full = "/dev/full";
    for (const std::size_t size : {std::size_t{0}, std::size_t{1000000}}) {
        TestEnvironment environment;
        environment.m_logLevel = 1;
        DocumentSink sink;
        ASSERT_TRUE(sink.open(full));
        EXPECT_FALSE(writeStrings(sink, size));
        EXPECT_TRUE(sink.hasFailed());
        EXPECT_EQ(environment.errorLines(),
                  "1|ERROR: Could not complete /dev/full: No space left on device\n");
    }
}

TEST(DocumentSinkTest, SaysNothingOfAFileThatItCannotCreate) {
    TestEnvironment environment;
    environment.m_logLevel = 4;
    DocumentSink sink;
    EXPECT_FALSE(sink.open("missing/document"));
    EXPECT_EQ(environment.errorLines() + environment.infoLines(), "");
}

}  // namespace
