// Events in the kernel's own bytes, by the formats that it gives.
#include <gmock/gmock.h>

#include <cstring>
#include <string>

#include "host/kernel_events/raw_event.h"

namespace {

using namespace host::kernel_events;

const std::string COMMON =
    "format:\n"
    "\tfield:unsigned short common_type;\toffset:0;\tsize:2;\tsigned:0;\n"
    "\tfield:unsigned char common_flags;\toffset:2;\tsize:1;\tsigned:0;\n"
    "\tfield:unsigned char common_preempt_count;\toffset:3;\tsize:1;\tsigned:0;\n"
    "\tfield:int common_pid;\toffset:4;\tsize:4;\tsigned:1;\n\n";

const std::string SWITCH = "name: sched_switch\nID: 312\n" + COMMON +
                           "\tfield:char prev_comm[16];\toffset:8;\tsize:16;\tsigned:0;\n"
                           "\tfield:pid_t prev_pid;\toffset:24;\tsize:4;\tsigned:1;\n"
                           "\tfield:int prev_prio;\toffset:28;\tsize:4;\tsigned:1;\n"
                           "\tfield:long prev_state;\toffset:32;\tsize:8;\tsigned:1;\n"
                           "\tfield:char next_comm[16];\toffset:40;\tsize:16;\tsigned:0;\n"
                           "\tfield:pid_t next_pid;\toffset:56;\tsize:4;\tsigned:1;\n"
                           "\tfield:int next_prio;\toffset:60;\tsize:4;\tsigned:1;\n\n"
                           "print fmt: \"prev_comm=%s field:x;\toffset:9;\tsize:1;\", REC->prev_comm\n";

std::string withField(const std::string& event, const std::string& field) {
    return "name: " + event + "\nID: 1\n" + COMMON + "\tfield:" + field + "\n";
}

std::string bytesOf(std::int64_t number, std::size_t size) {
    return std::string(reinterpret_cast<const char*>(&number), size);
}

std::string padded(std::string text, std::size_t size) {
    text.resize(size);
    return text;
}

class RawEvent : public testing::Test {
protected:
    bool read(const std::string& format, const std::string& behindCommon) {
        const auto parsed = RawFormat::parse(format);
        std::string missing;
        const auto reader = parsed ? RawEventReader::make(*parsed, missing) : std::nullopt;
        if (!reader) return false;
        // 12 is the thread.
        const std::string bytes =
            bytesOf(static_cast<std::int64_t>(parsed->id), 4) + bytesOf(12, 4) + behindCommon;
        return reader->read(bytes, m_names, m_functions, m_texts, m_event);
    }
    const std::string& name() const { return m_names.text(m_event.name); }

    NamePool m_names;
    AddressNames m_functions{m_names,
                             [](std::uint64_t at) { return at == 0xFFFF800000001000 ? "tick" : ""; }};
    AddressNames m_texts{m_names, [](std::uint64_t at) { return at == 0x2000 ? "freeze" : ""; }};
    Event m_event;
};

TEST_F(RawEvent, SwitchesAreReadAndEndWithTheBytes) {
    const std::string bytes = padded("a b", 16) + bytesOf(7, 4) + bytesOf(120, 4) + bytesOf(0, 8) +
                              padded("0123456789abcdef", 16) + bytesOf(-1, 4) + bytesOf(120, 4);
    ASSERT_TRUE(read(SWITCH, bytes));
    EXPECT_EQ(Kind::SchedSwitch, m_event.kind);
    EXPECT_EQ(12, m_event.pid);
    EXPECT_EQ(7, m_event.a);
    EXPECT_EQ(-1, m_event.b);
    EXPECT_EQ("a b", name());
    EXPECT_EQ("0123456789abcdef", m_names.text(m_event.other));
    EXPECT_TRUE(m_event.isRunnable);
    EXPECT_FALSE(read(SWITCH, bytes.substr(0, bytes.size() - 5)));
    EXPECT_FALSE(read(SWITCH, ""));
}

TEST_F(RawEvent, TextsStandWhereTheirPlaceSays) {
    const std::string moved =
        withField("irq_handler_entry", "__data_loc char[] name;\toffset:8;\tsize:4;\tsigned:0;");
    const std::string following =
        withField("irq_handler_entry", "__rel_loc char[] name;\toffset:8;\tsize:4;\tsigned:0;");
    ASSERT_TRUE(read(moved, bytesOf(5 << 16 | 14, 4) + std::string("..ab\0c.", 8)));
    EXPECT_EQ("ab", name());
    ASSERT_TRUE(read(following, bytesOf(3 << 16 | 1, 4) + ".xyz"));
    EXPECT_EQ("xyz", name());
    // Beyond the end, by the place and by the length.
    EXPECT_FALSE(read(moved, bytesOf(1 << 16 | 200, 4) + "ab"));
    EXPECT_FALSE(read(moved, bytesOf(20 << 16 | 12, 4) + "ab"));
}

TEST_F(RawEvent, AddressesHaveNamesOrAreShown) {
    const std::string timer =
        withField("hrtimer_expire_entry", "void * function;\toffset:8;\tsize:8;\tsigned:0;");
    ASSERT_TRUE(read(timer, bytesOf(static_cast<std::int64_t>(0xFFFF800000001000), 8)));
    EXPECT_EQ("tick", name());
    ASSERT_TRUE(read(timer, bytesOf(0x1234, 8)));
    EXPECT_EQ("0x1234", name());
    const std::string suspend =
        withField("suspend_resume", "const char * action;\toffset:8;\tsize:8;\tsigned:0;") +
        "\tfield:int val;\toffset:16;\tsize:4;\tsigned:1;\n"
        "\tfield:bool start;\toffset:20;\tsize:1;\tsigned:0;\n";
    ASSERT_TRUE(read(suspend, bytesOf(0x2000, 8) + bytesOf(-1, 4) + bytesOf(1, 1)));
    EXPECT_EQ("freeze", name());
    EXPECT_EQ(4294967295, m_event.a);
    EXPECT_EQ(1, m_event.b);
}

TEST_F(RawEvent, FormatsOfOtherKernelsAreToldApart) {
    std::string missing;
    const std::string idle = withField("cpu_idle", "u32 state;\toffset:8;\tsize:4;\tsigned:0;");
    EXPECT_FALSE(RawEventReader::make(*RawFormat::parse(idle), missing));
    EXPECT_EQ("cpu_id", missing);
    // A CPU that can't be.
    EXPECT_FALSE(
        read(idle + "\tfield:u32 cpu_id;\toffset:12;\tsize:4;\tsigned:0;\n", bytesOf(1, 4) + bytesOf(-1, 4)));
    EXPECT_TRUE(read(idle + "\tfield:u32 cpu_id;\toffset:12;\tsize:4;\tsigned:0;\n",
                     bytesOf(IDLE_EXIT, 4) + bytesOf(3, 4)));
    EXPECT_EQ(IDLE_EXIT, m_event.a);
    EXPECT_EQ(3U, m_event.subject);
    for (const char* text :
         {"", "name: x\nID: 3\n", "name: x\n\tfield:int a;\toffset:0;\tsize:4;\tsigned:1;\n",
          "ID: 3\n\tfield:int a;\toffset:0;\tsize:4;\tsigned:1;\n"})
        EXPECT_FALSE(RawFormat::parse(text)) << text;
}

}  // namespace
