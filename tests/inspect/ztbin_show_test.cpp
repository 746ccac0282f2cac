// What pwrhost show says of .ztbin files, above all of damaged ones, and of files that it does not know.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/base/utf8.h"
#include "host/inspect/json_line.h"
#include "host/inspect/show.h"
#include "host/inspect/ztbin_decoder.h"

namespace {

std::string u16(unsigned value) {
    return {static_cast<char>(value & 0xFFU), static_cast<char>(value >> 8U)};
}

std::string record(unsigned type, const std::string& payload) {
    return u16(static_cast<unsigned>(payload.size())) + static_cast<char>(type) + payload;
}

std::string stringRecord(unsigned index, const std::string& text) {
    return record(0, u16(index) + u16(static_cast<unsigned>(text.size())) + text);
}

// All names of the system are string `name`.
std::string systemRecord(unsigned name) {
    std::string payload(40, '\0');
    for (int i = 0; i < 5; ++i) payload += u16(name);
    payload += std::string(8, '\0');
    for (int i = 0; i < 3; ++i) payload += u16(name);
    return record(1, payload);
}

std::string descriptorRecord(unsigned index, unsigned state, unsigned name) {
    return record(2, u16(index) + u16(state) + u16(name));
}

std::string metricRecord(unsigned id, unsigned name, const std::string& lists = std::string(),
                         unsigned attributes = 0, unsigned legends = 0) {
    return record(3, u16(id) + u16(0) + u16(name) + u16(name) + u16(name) + u16(0) + u16(0) + u16(0) +
                         u16(attributes) + u16(legends) + lists);
}

std::string dataRecord(unsigned metric, unsigned name, unsigned descriptor) {
    return record(4, std::string(12, '\0') + u16(metric) + u16(0) + u16(name) + u16(descriptor) +
                         std::string("\x00\x00\xC0\x3F", 4));
}

std::string systemJson(int offset) {
    return R"({"offset":)" + std::to_string(offset) +
           R"(,"record":"SystemMeta","start":0,"stop":0,"durationSec":0.0,"hfmMHz":0.0,"lfmMHz":0.0,"cpuMHz":0.0,)"
           R"("busMHz":0.0,"platformId":0,"platform":"a","cpu":"a","cpuNative":"a","pch":"a","host":"a",)"
           R"("packages":0,"modules":0,"cores":0,"threads":0,"osType":"a","osName":"a","osNameAgain":"a"})"
           "\n";
}

struct Shown {
    int status;
    std::string out;
    std::string err;
};

Shown show(const std::vector<std::string>& files, bool check = false) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = host::inspect::show(files, check, out, err);
    return {status, out.str(), err.str()};
}

Shown showBytes(const std::string& bytes, const std::string& name = "t.ztbin", bool check = false) {
    std::ofstream(name, std::ios::binary) << bytes;
    return show({name}, check);
}

TEST(ZtbinShow, PrintsEachKindOfRecord) {
    const std::string bytes = stringRecord(1, "a") + systemRecord(1) + descriptorRecord(1, 1, 1) +
                              metricRecord(7, 1, u16(1) + u16(1) + u16(1) + u16(0) + u16(1), 2, 1) +
                              dataRecord(7, 1, 1) + dataRecord(7, 1, 0);
    const Shown shown = showBytes(bytes);
    EXPECT_EQ(shown.err, "");
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.out, R"({"offset":0,"record":"StringStore","index":1,"text":"a"})"
                         "\n" +
                             systemJson(8) +
                             R"({"offset":75,"record":"DescriptorMeta","index":1,"state":"a","name":"a"}
{"offset":84,"record":"MetricMeta","metric":7,"group":"a","name":"a","type":"a","quantity":null,"units":null,"hasQuantity":0,"attributes":[{"name":"a","descriptor":{"index":1,"state":"a","name":"a"}},{"name":"a","descriptor":null}],"legend":["a"]}
{"offset":117,"record":"MetricData","t":0,"duration":0.0,"metric":7,"metricName":"a","name":"a","descriptor":{"index":1,"state":"a","name":"a"},"value":1.5}
{"offset":144,"record":"MetricData","t":0,"duration":0.0,"metric":7,"metricName":"a","name":"a","descriptor":null,"value":1.5}
)");
    const Shown checked = showBytes(bytes, "t.ztbin", true);
    EXPECT_EQ(checked.status, 0);
    EXPECT_EQ(checked.out + checked.err, "t.ztbin: sound\n");
}

TEST(ZtbinShow, ReportsDamage) {
    const std::string head = stringRecord(1, "a") + systemRecord(1);  // 75 bytes
    const struct {
        std::string bytes;
        std::string report;
    } cases[] = {
        {"", "offset 0: the file ends without a SystemMeta record\n"},
        {"\x01", "offset 0: the file ends inside the head of a record\n"},
        {stringRecord(1, "a"), "offset 8: the file ends without a SystemMeta record\n"},
        {head + "\x05", "offset 75: the file ends inside the head of a record\n"},
        {head + dataRecord(7, 1, 0).substr(0, 26), "offset 75: the file ends inside a MetricData record\n"},
        {head + record(5, "abc") + dataRecord(7, 1, 0), "offset 75: unknown record type 5\n"},
        {record(0, "abc"), "offset 0: a StringStore record has a payload of 3 bytes instead of at least 4\n"},
        {record(0, u16(1) + u16(5) + "four"),
         "offset 0: a StringStore record has a payload of 8 bytes instead of 9\n"},
        {record(1, "abc"), "offset 0: a SystemMeta record has a payload of 3 bytes instead of 64\n"},
        {head + record(2, "sevenby"),
         "offset 75: a DescriptorMeta record has a payload of 7 bytes instead of 6\n"},
        {head + metricRecord(7, 1, u16(1), 1, 0),
         "offset 75: a MetricMeta record has a payload of 22 bytes instead of 24\n"},
        {head + metricRecord(7, 1, u16(1), 65535, 65535),
         "offset 75: a MetricMeta record has a payload of 22 bytes instead of 393230\n"},
        {head + record(4, ""), "offset 75: a MetricData record has a payload of 0 bytes instead of 24\n"},
        {head + stringRecord(2, "b"), "offset 75: a StringStore record stands behind a SystemMeta record\n"},
        {head + systemRecord(1), "offset 75: a second SystemMeta record\n"},
        {stringRecord(1, "a") + stringRecord(1, "a") + systemRecord(1),
         "offset 11: string 1 is defined again\n"},
        {head.substr(0, 8) + stringRecord(0, "a") + head.substr(8),
         "offset 11: a string has index 0, which refers to nothing\n"},
        {head + descriptorRecord(0, 1, 1), "offset 78: a descriptor has index 0, which refers to nothing\n"},
        {head + descriptorRecord(3, 1, 1) + descriptorRecord(3, 1, 1),
         "offset 87: descriptor 3 is defined again\n"},
        {head + descriptorRecord(1, 9, 0),
         "offset 80: string 9 is not defined\nt.ztbin: offset 82: string 0 is not defined\n"},
        {head + metricRecord(7, 1) + metricRecord(7, 1), "offset 101: metric 7 is described again\n"},
        {head + metricRecord(7, 1, u16(1) + u16(8), 1, 0), "offset 100: descriptor 8 is not defined\n"},
        {head + dataRecord(7, 1, 2),
         "offset 90: metric 7 is not described\nt.ztbin: offset 96: descriptor 2 is not defined\n"},
    };
    for (const auto& [bytes, report] : cases) {
        const Shown shown = showBytes(bytes);
        EXPECT_EQ(shown.err, "t.ztbin: " + report);
        EXPECT_EQ(shown.status, 1);
        EXPECT_EQ(showBytes(bytes, "t.ztbin", true).err, shown.err);
    }
}

TEST(ZtbinShow, FilesOfARunShareTheirTables) {
    const std::string first =
        stringRecord(1, "a") + systemRecord(1) + metricRecord(7, 1) + dataRecord(7, 1, 0);
    const std::string second = stringRecord(2, "b") + systemRecord(1) + dataRecord(7, 2, 0);
    const std::string third = systemRecord(2) + dataRecord(7, 1, 0);
    std::ofstream("r_0.ztbin", std::ios::binary) << first;
    std::ofstream("r_1.ztbin", std::ios::binary) << second;
    std::ofstream("r_2.ztbin", std::ios::binary) << third;
    EXPECT_EQ(show({"r_0.ztbin", "r_1.ztbin", "r_2.ztbin"}, true).err, "");
    // A run that begins anew forgets the one before, so the same definitions come again without complaint.
    EXPECT_EQ(show({"r_0.ztbin", "r_1.ztbin", "r_0.ztbin", "r_2.ztbin"}, true).err.substr(0, 19),
              "r_2.ztbin: offset 4");
    // As a shell lists them when there are more than ten.
    std::filesystem::rename("r_2.ztbin", "r_10.ztbin");
    const Shown listed = show({"r_0.ztbin", "r_10.ztbin", "r_1.ztbin"}, true);
    EXPECT_EQ(listed.out, "r_0.ztbin: sound\nr_1.ztbin: sound\nr_10.ztbin: sound\n");
    const Shown alone = show({"r_1.ztbin"}, true);
    EXPECT_EQ(alone.status, 1);
    EXPECT_TRUE(
        alone.err.ends_with("r_1.ztbin: a part of a continuous run: give r_0.ztbin and those before it as "
                            "well, as what they define holds here\n"));
    std::filesystem::rename("r_10.ztbin", "r_2.ztbin");
    const Shown shown = show({"r_0.ztbin", "r_2.ztbin"});
    EXPECT_EQ(shown.out.substr(0, 34), R"({"file":"r_0.ztbin","offset":0,"re)");
}

TEST(ZtbinShow, RecognisesFilesByContentThenByExtension) {
    const std::string sound = stringRecord(1, "a") + systemRecord(1);
    EXPECT_EQ(showBytes(sound, "renamed.dat").status, 0);
    EXPECT_EQ(showBytes(sound, "renamed.pwr").status, 0);
    EXPECT_EQ(showBytes("no such format", "unknown.dat").err,
              "unknown.dat: offset 0: no format that is known here\n");
    EXPECT_EQ(showBytes("no such format", "t.ztbin").err, "t.ztbin: offset 0: unknown record type 32\n");
    EXPECT_EQ(show({"missing.ztbin"}).err, "missing.ztbin: No such file or directory\n");
    EXPECT_EQ(show({std::filesystem::current_path().string()}).status, 1);
}

TEST(JsonLine, PrintsWhatIsNotUtf8AsReplacements) {
    const std::string bad = "\xEF\xBF\xBD";
    const struct {
        std::string bytes;
        std::string text;
    } cases[] = {
        {"plain", "plain"},
        {"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"\x80", bad},
        {"a\xC3", "a" + bad},
        {"\xC3(", bad + "("},
        {"\xE2\x82", bad + bad},
        {"\xC0\xAF", bad + bad},            // overlong
        {"\xE0\x80\x80", bad + bad + bad},  // overlong
        {"\xED\xA0\x80", bad + bad + bad},  // half of a surrogate pair
        {"\xF0\x8F\x80\x80", bad + bad + bad + bad},
        {"\xF4\x90\x80\x80", bad + bad + bad + bad},  // beyond the last character
        {"\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
        {"\xFF\xFE", bad + bad},
    };
    for (const auto& [bytes, text] : cases) EXPECT_EQ(host::base::toUtf8(bytes), text);
}

// Keeps the size of the largest piece.
class Pieces : public std::streambuf {
public:
    std::streamsize m_largest = 0;
    std::streamsize m_total = 0;

protected:
    int_type overflow(int_type character) override { return character; }
    std::streamsize xsputn(const char*, std::streamsize size) override {
        m_largest = std::max(m_largest, size);
        m_total += size;
        return size;
    }
};

TEST(JsonLine, ALineThatIsLongerThanItsFileGoesOutInPieces) {
    const std::string text(60000, 'x');
    std::string legends;
    for (int i = 0; i < 1000; ++i) legends += u16(1);
    const std::string bytes = stringRecord(1, text) + systemRecord(1) + metricRecord(7, 1, legends, 0, 1000);
    Pieces pieces;
    std::ostream out(&pieces);
    std::ostringstream err;
    host::inspect::JsonLine line(&out);
    host::inspect::DamageReport report("t.ztbin", err);
    host::inspect::ZtbinDecoder().decode(bytes, line, report);
    EXPECT_EQ(err.str(), "");
    EXPECT_GT(pieces.m_total, 60000000);
    EXPECT_LT(pieces.m_largest, 300000);
}

TEST(JsonLine, PrintsNumbersThatReadBackAsThemselves) {
    std::ostringstream out;
    host::inspect::JsonLine line(&out);
    line.begin();
    line.beginArray("f");
    for (const float value : {0.1F, -0.0F, 1e20F, 16777216.0F, 1e-45F}) line.value(value);
    line.value(0.1);
    line.value(std::uint64_t{18446744073709551615U});
    line.value(std::int64_t{-9007199254740993});
    line.endArray();
    line.end();
    EXPECT_EQ(out.str(),
              "{\"f\":[0.1,-0.0,1e+20,16777216.0,1e-45,0.1,18446744073709551615,-9007199254740993]}\n");
}

}  // namespace
