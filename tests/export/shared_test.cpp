// What all writers of open formats share: times, texts, labels, files.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>

#include "export/clean_text.h"
#include "export/labels.h"
#include "export/number_text.h"
#include "export/result_file.h"
#include "export/run_clock.h"
#include "export/run_name.h"
#include "host/model/environment.h"
#include "host/model/loggers.h"
#include "host/model/system_metadata.h"

namespace exporting {
namespace {

RunClock clockOf(float frequency, std::uint64_t start, std::uint64_t time) {
    host::model::SystemMetadata metadata;
    metadata.m_tscFrequency = frequency;
    metadata.m_collectionStart = start;
    metadata.m_collectionTime = time;
    return RunClock(metadata);
}

TEST(RunClock, CountsFromTheStart) {
    const RunClock clock = clockOf(2400.0F, 1000, 1700000000123456789u);
    EXPECT_EQ(clock.secondsSinceStart(1000 + 2400000), 0.001);
    EXPECT_EQ(clock.secondsSinceStart(0), -1000 / 2.4e9);
    EXPECT_EQ(clock.nanosecondsSinceStart(1000 + 7), 2);   // 2.9 ns
    EXPECT_EQ(clock.nanosecondsSinceStart(1000 - 7), -3);  // down, not towards 0
    EXPECT_EQ(clock.wallNanoseconds(1000 + 24), 1700000000123456799);
    // A thousand days of ticks, to the nanosecond.
    EXPECT_EQ(clock.nanosecondsSinceStart(1000 + 207360000000000024u), 86400000000000010);
}

TEST(RunClock, SaysWhatItDoesNotKnow) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const float frequency : {0.0F, -1.0F, nan, std::numeric_limits<float>::infinity()}) {
        const RunClock clock = clockOf(frequency, 0, 1);
        EXPECT_FALSE(clock.hasSeconds());
        EXPECT_FALSE(clock.hasWallTime());
        EXPECT_EQ(clock.wallNanoseconds(5), std::nullopt);
    }
    EXPECT_FALSE(clockOf(1000.0F, 0, 0).hasWallTime());
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    EXPECT_EQ(clockOf(1.0F, 0, 1).nanosecondsSinceStart(most), std::nullopt);
    EXPECT_EQ(clockOf(1000.0F, 0, std::uint64_t{1} << 62).wallNanoseconds(std::uint64_t{1} << 62),
              std::nullopt);
    EXPECT_EQ(clockOf(1000.0F, 0, most).wallStart(), std::nullopt);
}

TEST(RunClock, PrintsTimesOfDay) {
    EXPECT_EQ(rfc3339(0), "1970-01-01T00:00:00.000000000Z");
    EXPECT_EQ(rfc3339(-1), "1969-12-31T23:59:59.999999999Z");
    EXPECT_EQ(rfc3339(1709210096000000007), "2024-02-29T12:34:56.000000007Z");
    EXPECT_EQ(rfc3339(std::numeric_limits<std::int64_t>::min()), "1677-09-21T00:12:43.145224192Z");
    EXPECT_EQ(rfc3339(std::numeric_limits<std::int64_t>::max()), "2262-04-11T23:47:16.854775807Z");
}

TEST(NumberText, ReadsBackAsTheSameNumber) {
    EXPECT_EQ(NumberText(0.1).view(), "0.1");
    EXPECT_EQ(NumberText(-0.0).view(), "-0");
    EXPECT_EQ(NumberText(-2.2250738585072014e-308).view(), "-2.2250738585072014e-308");
    EXPECT_EQ(NumberText(std::numeric_limits<long>::min()).view(), "-9223372036854775808");
    EXPECT_EQ(NumberText(std::numeric_limits<unsigned long>::max()).view(), "18446744073709551615");
    EXPECT_EQ(NumberText(-std::numeric_limits<double>::quiet_NaN()).view(), "NaN");
    EXPECT_EQ(NumberText(-std::numeric_limits<double>::infinity()).view(), "-Inf");
}

TEST(CleanText, ReplacesWhatIsNoText) {
    using namespace std::string_view_literals;
    const std::string_view cases[][2] = {
        {"", ""},
        {"caf\u00e9 \u20ac \U0001F50B", "caf\u00e9 \u20ac \U0001F50B"},
        {"a\0b\0"sv, "a\uFFFDb\uFFFD"},
        {"\x80z", "\uFFFDz"},                              // no lead
        {"\xC3", "\uFFFD"},                                // cut
        {"\xE2\x82z", "\uFFFD\uFFFDz"},                    // cut by another character
        {"\xC0\xAF", "\uFFFD\uFFFD"},                      // overlong
        {"\xE0\x9F\xBF", "\uFFFD\uFFFD\uFFFD"},            // overlong
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},            // a surrogate
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // above U+10FFFF
        {"\xF0\x8F\xBF\xBF\xF0\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD\xF0\x90\x80\x80"},
    };
    for (const auto& [text, clean] : cases) {
        std::string scratch;
        EXPECT_EQ(cleanText(text, scratch), clean);
    }
}

TEST(UserLabels, ReadsLinesOfTheVariable) {
    ::setenv("PWR_LABELS", "site=a=b\n\nnone\n=x\nnote=two\\nlines \\\\ \"q\"\nsite=later\nempty=", 1);
    const std::vector<Label> expected = {{"site", "later"}, {"note", "two\nlines \\ \"q\""}, {"empty", ""}};
    EXPECT_EQ(userLabels(), expected);
    ::unsetenv("PWR_LABELS");
    EXPECT_TRUE(userLabels().empty());
}

TEST(ResultPath, NamesRunsAndParts) {
    EXPECT_EQ(resultPath("out/run", "_long", ".csv", {}), "out/run_long.csv");
    EXPECT_EQ(resultPath("out/run", "_long", ".csv", 0), "out/run_long_0.csv");
    EXPECT_EQ(resultPath("run", "", ".om", 12), "run_12.om");
    EXPECT_EQ(runName("out/run"), "run");
    EXPECT_EQ(runName("out/"), "run");
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(ResultFile, WritesWholeRecordsInBoundedMemory) {
    host::model::DescriptorLogger log(2);
    host::model::Environment environment(log, log);
    const std::string path = "records.txt";
    std::filesystem::remove(path);
    const std::string record(1000, 'r');
    ResultFile file;
    file.open(path);
    for (int i = 0; i < 3000; ++i) {
        file.append(record);
        file.endRecord();
        ASSERT_LT(environment.outputHandle(path)->m_buffer.capacity(), std::size_t{4} << 20);
    }
    file.append("not complete");
    file.dropRecord();
    file.append('.');
    file.endRecord();
    file.append("nor this");
    file.close();
    EXPECT_FALSE(file.isOpen());
    EXPECT_EQ(contentOf(path).size(), 3000001u);
    EXPECT_TRUE(contentOf(path).ends_with("r."));
    std::filesystem::remove(path);
}

}  // namespace
}  // namespace exporting
