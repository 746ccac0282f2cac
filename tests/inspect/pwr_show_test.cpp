// What pwrhost show says of .pwr files, above all of damaged ones. That it prints sound files right is shown
// by the stream tests, whose expected output holds every kind of record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <sstream>

#include "host/inspect/pwr_decoder.h"
#include "host/inspect/show.h"

namespace {

using testing::HasSubstr;

template <typename T>
std::string number(T value) {
    std::string bytes;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        bytes += static_cast<char>(static_cast<std::uint64_t>(value) >> 8 * i & 0xFF);
    return bytes;
}
std::string u16(std::size_t value) {
    return number(static_cast<std::uint16_t>(value));
}
std::string u32(std::uint32_t value) {
    return number(value);
}
std::string u64(std::uint64_t value) {
    return number(value);
}

const std::string MAGIC("\x00\x00\x00\x08\xFA\xDE\xDE\xAD", 8);

// What follows the length field of an untimed, a timed and a wakelock record.
std::string untimed(const std::string& rest) {
    return u32(0x02400000) + u16(rest.size() + 2) + rest;
}
std::string timed(std::uint64_t tsc, const std::string& rest) {
    return u32(0x02400010) + u64(tsc) + u16(rest.size() + 2) + rest;
}
std::string wakelock(std::uint16_t type, const std::string& rest) {
    return u32(0x02400018) + u32(1) + u32(2) + u64(3) + u16(rest.size() + 4) + u16(type) + rest;
}

std::string info(const std::string& type, std::uint32_t typeId, std::uint32_t value, std::uint32_t id,
                 std::uint32_t parent = 0xFFFFFFFF, const std::string& name = "n",
                 std::uint16_t version = 2) {
    return timed(0, u32(0x00070048) + u16(version) + u32(typeId) + u32(value) + u32(parent) + u32(id) +
                        u16(name.size()) + u16(0) + u16(type.size()) + u16(0) + name + type + '\0');
}
std::string metric(std::uint32_t id, std::uint32_t metricClass = 10, std::uint32_t quantity = 0xFFFFFFFF) {
    return timed(0, u32(0x00080048) + u16(2) + u32(metricClass) + u32(id) + u32(quantity) + u32(50) +
                        u32(60) + u16(1) + u16(0) + "m" + '\0');
}
using Attributes = std::vector<std::pair<std::uint32_t, std::uint64_t>>;
std::string sample(std::uint64_t tsc, const Attributes& attributes) {
    std::string bytes = u32(0x00060047) + u16(2) + u16(attributes.size());
    for (const auto& [type, value] : attributes) bytes += u32(type) + u64(value);
    return timed(tsc, bytes);
}
std::string process(const std::string& path, std::uint64_t time = 5) {
    return u32(0x0240001D) + u32(0x1000) + u32(0) + u32(9) + u32(0) + u64(time) + u16(path.size() + 5) +
           u16(0) + path + '\0';
}

// The records up to the power threshold, and the definitions that the cases refer to.
const std::string OPENING = MAGIC + untimed(u16(44) + u32(1) + std::string(17, '\0')) +
                            untimed(u16(45) + u32(1) + std::string(10, '\0') + u16(1) + '\0' + u16(1) + '\0' +
                                    u16(1) + '\0' + u16(1) + '\0') +
                            untimed(u16(18) + u32(1) + std::string(32, '\0')) + u32(0x22000020) +
                            u32(0x02000020) + '\x02' + u64(100) + u64(0) +
                            untimed(u16(63) + u32(1) + u16(12) + std::string(52, '\0'));
const std::string HEADER = OPENING + info("info_type", 0, 1, 40, 0xFFFFFFFF, "entity") +
                           info("info_type", 0, 2, 41, 0xFFFFFFFF, "tab_group") +
                           info("info_type", 0, 3, 42, 0xFFFFFFFF, "timeline_group") +
                           info("tab_group", 2, 7, 50) + info("timeline_group", 3, 7, 60, 50) +
                           info("entity", 1, 10, 10);
const std::string BODY = HEADER + MAGIC + metric(7) + sample(100, {{0, 7}, {1, 10}});

struct Shown {
    int status;
    std::string out;
    std::string err;
};

Shown show(const std::string& bytes, bool check) {
    std::ofstream("t.pwr", std::ios::binary) << bytes;
    std::ostringstream out;
    std::ostringstream err;
    const int status = host::inspect::show({"t.pwr"}, check, out, err);
    return {status, out.str(), err.str()};
}

TEST(PwrShow, AcceptsASoundFile) {
    const std::string bytes = BODY + sample(100, {{0, 7}, {1, 10}}) +
                              sample(101, {{0, 7}, {1, 10}, {9, ~std::uint64_t{0}}}) + metric(8) +
                              wakelock(64, '\0' + u64(0) + u16(2) + "k" + '\0') +
                              wakelock(67, std::string(2, '\4') + u32(5) + u32(0) + u16(2) + "u" + '\0') +
                              wakelock(67, std::string("\0\5", 2) + u32(5) + u32(0) + u16(2) + "u" + '\0') +
                              timed(1, u16(0x44) + u32(5) + u16(2) + "p" + '\0');
    const Shown checked = show(bytes, true);
    EXPECT_EQ(checked.err, "");
    EXPECT_EQ(checked.out, "t.pwr: sound\n");
    EXPECT_EQ(checked.status, 0);
    const Shown shown = show(bytes, false);
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.out,
                HasSubstr(R"("attributes":[{"type":"METRIC","value":7,"name":"m"},{"type":"ENTITY",)"
                          R"("value":10,"name":"n"},{"type":"INT","value":-1}]})"));
    EXPECT_THAT(
        shown.out,
        HasSubstr(R"("type":"wakeUnlockAll","flag":"wakeProximityScreenOff","uid":5,"package":null)"));
    EXPECT_THAT(shown.out, HasSubstr(R"("type":"wakeLock","flag":5,"uid":5)"));
}

TEST(PwrShow, NamesWhatHadAnIdAtTheTime) {
    const auto thread = [](std::uint32_t mark, std::uint64_t time) {
        return u32(0x0200001D) + u32(mark) + u32(0) + u32(9) + u32(8) + u64(time);
    };
    const std::string starts =
        process("/a", 100) + thread(0x1000, 110) + process("/b", 200) + thread(0x1000, 210);
    const std::string ends =
        process("/a", 190) + process("/b", 300) + thread(0x2000, 180) + thread(0x2000, 290);
    std::string samples;
    for (const std::uint64_t time : {100, 199, 200, 250}) samples += sample(time, {{0, 7}, {3, 9}, {4, 8}});
    const Shown shown = show(HEADER + starts + ends + MAGIC + metric(7) + samples, false);
    EXPECT_EQ(shown.err, "");
    std::string events;
    std::string names;
    std::istringstream lines(shown.out);
    for (std::string line; std::getline(lines, line);) {
        const auto take = [&line](const std::string& key) {
            const std::size_t at = line.find(key);
            return at == line.npos
                       ? ""
                       : line.substr(at + key.size(), line.find('"', at + key.size()) - at - key.size());
        };
        if (line.find("\"record\":\"Process\"") != line.npos ||
            line.find("\"record\":\"Thread\"") != line.npos)
            events += take("\"event\":\"") + take("\"path\":\"") + " ";
        if (line.find("\"record\":\"Sample\"") != line.npos)
            names += take("\"PROCESS\",\"value\":9,\"name\":\"") +
                     take("\"THREAD\",\"value\":8,\"name\":\"") + " ";
    }
    EXPECT_EQ(events, "start/a start/a start/b start/b end/a end/b end/a end/b ");
    EXPECT_EQ(names, "/a/a /a/a /b/a /b/b ");
}

TEST(PwrShow, ReportsTheFirstViolation) {
    const struct {
        std::string front;  // sound
        std::string fault;
        std::string report;
    } cases[] = {
        {"", "", "the file ends without the closing Magic record\n"},
        {HEADER, "", "the file ends without the closing Magic record\n"},
        {BODY, "\x10", "the file ends inside the head of a record\n"},
        {BODY, u32(0x02400010), "the file ends inside the head of a record\n"},
        {BODY, u32(0x02400011), "unknown record head 0x02400011\n"},
        {BODY, timed(0, u32(0x00090048)), "unknown record type under the head 0x02400010\n"},
        {BODY, untimed(u16(46)), "unknown record type under the head 0x02400000\n"},
        {BODY, wakelock(65, ""), "unknown record type under the head 0x02400018\n"},
        {BODY, u32(0x02400010) + u64(0) + u16(500), "the file ends inside a record of 512 bytes\n"},
        {BODY, timed(0, u32(0x00060047)), "a Sample record has 18 bytes instead of at least 22\n"},
        {BODY, timed(0, u32(0x00060047) + u16(2) + u16(1)), "a Sample record has 22 bytes instead of 34\n"},
        {BODY + metric(8), "x", "the file ends inside the head of a record\n"},
        {MAGIC, MAGIC, "a Magic record stands in place of a CollectionInfo record in the header block\n"},
        {OPENING, process("/a"), "a Process record stands in place of an Info record in the header block\n"},
        {HEADER, sample(100, {{0, 7}}), "a Sample record stands in front of the closing Magic record\n"},
        {HEADER + MAGIC, sample(100, {{0, 7}}), "a Sample record stands outside the block of a metric\n"},
        {BODY, info("entity", 1, 11, 11), "an Info record stands behind the header block\n"},
        {BODY, MAGIC, "a Magic record stands behind the header block\n"},
        {BODY, metric(7), "the block of metric 7 stands behind that of metric 7\n"},
        {BODY, sample(101, {{0, 8}, {1, 10}}), "metric 8 is not defined\n"},
        {BODY + metric(8), sample(101, {{0, 7}}), "a sample of metric 7 stands in the block of metric 8\n"},
        {BODY + sample(101, {{0, 7}, {1, 10}}), sample(101, {{0, 7}, {1, 10}}),
         "time 101 of entity 10 does not lie behind 101\n"},
        {BODY + sample(101, {{0, 7}, {1, 10}}), sample(100, {{0, 7}, {1, 10}}),
         "time 100 of entity 10 does not lie behind 101\n"},
        {HEADER + MAGIC + metric(7), sample(99, {{0, 7}, {1, 10}}),
         "time 99 of entity 10 lies before the start 100\n"},
        {BODY, sample(101, {}), "a Sample record has no METRIC attribute\n"},
        {BODY, sample(101, {{1, 10}, {0, 7}}), "the first attribute of a Sample record is not METRIC\n"},
        {BODY, sample(101, {{0, 7}, {0, 7}}), "a Sample record has a second METRIC attribute\n"},
        {BODY, sample(101, {{0, 7}, {1, 11}}), "entity 11 is not defined\n"},
        {BODY, sample(101, {{0, 7}, {2, 10}}), "field 10 is not defined\n"},
        {BODY, sample(101, {{0, 7}, {3, 1}}), "process 1 is not defined\n"},
        {BODY, sample(101, {{0, 7}, {19, 1}}), "unknown attribute type 19\n"},
        {BODY, sample(101, {{0, 7}, {12, 1}, {15, 1}}), "the bounds of a range do not stand together\n"},
        {BODY, sample(101, {{0, 7}, {13, 1}}), "the bounds of a range do not stand together\n"},
        {BODY, sample(101, {{0, 7}, {16, 1}}), "a Sample record ends in the middle of a value\n"},
        {BODY, sample(101, {{0, 8}}) + "x", "metric 8 is not defined\n"},
        {BODY, metric(8, 9), "metric_class 9 is not defined\n"},
        {BODY, metric(8, 10, 3), "quantity 3 is not defined\n"},
        {HEADER, info("entity", 2, 11, 11), "info type 2 is not defined as \"entity\"\n"},
        {HEADER, info("entity", 1, 11, 11, 99), "entity 99 is not defined\n"},
        {HEADER, info("timeline_group", 3, 7, 61, 61), "tab_group 61 is not defined\n"},
        {HEADER, info("entity", 1, 11, 11, 10, std::string(400, 'n')),
         "the names of an Info record are too long\n"},
        {HEADER, info("entity", 1, 11, 11, 10, "n", 3), "unknown format version 3\n"},
        {HEADER, info("entity", 1, 11, 11, 10, "n", 1), "format version 1 in a file of version 2\n"},
        {HEADER, process(std::string(30, 'p')), "the path of a Process record is too long\n"},
        {HEADER, u32(0x0200001D) + u32(0x3000) + std::string(20, '\0'),
         "a Thread record is neither start nor end\n"},
    };
    for (const auto& [front, fault, report] : cases) {
        const Shown checked = show(front + fault, true);
        EXPECT_EQ(checked.err, "t.pwr: offset " + std::to_string(front.size()) + ": " + report);
        EXPECT_EQ(checked.status, 1) << report;
        EXPECT_EQ(show(front + fault, false).err, checked.err);
    }
}

// Decodes without a file, and returns what was reported.
std::string faultsOf(std::string_view bytes) {
    std::ostringstream out;
    std::ostringstream err;
    host::inspect::JsonLine line(&out);
    host::inspect::DamageReport report("t.pwr", err);
    host::inspect::decodePwr(bytes, line, report);
    EXPECT_LE(report.count(), 1U);
    return err.str();
}

TEST(PwrShow, StandsAnyCutAndAnyChange) {
    const std::size_t bodyAt = HEADER.size() + MAGIC.size();
    for (std::size_t size = 0; size < BODY.size(); ++size) {
        // Only the ends of the body's records are ends of a file.
        const bool isEnd = size == bodyAt || size == bodyAt + metric(7).size();
        EXPECT_EQ(faultsOf(BODY.substr(0, size)).empty(), isEnd) << size;
    }
    for (std::size_t place = 0; place < BODY.size(); ++place) {
        for (const int change : {0x01, 0x80, 0xFF}) {
            std::string bytes = BODY;
            bytes[place] = static_cast<char>(bytes[place] ^ change);
            faultsOf(bytes);
        }
    }
}

}  // namespace
