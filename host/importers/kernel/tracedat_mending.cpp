#include "host/importers/kernel/tracedat_mending.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace host::importers {

namespace {

enum SectionId : std::uint16_t { OPTIONS = 0, BUFFER = 3 };
enum OptionId : std::uint16_t { DONE = 0, BUFFER_TABLE = 3, CPU_COUNT = 8 };

struct Section {
    std::uint16_t id;
    std::uint16_t flags;
    std::uint32_t description;
    std::uint64_t size;  // of what follows
};
constexpr std::uint64_t HEAD = 16;
static_assert(sizeof(Section) == HEAD);
constexpr std::uint16_t COMPRESSED = 1;

struct CpuData {
    std::uint64_t at;
    std::uint64_t size;
};

template <typename Number>
void append(std::string& out, Number number) {
    out.append(reinterpret_cast<const char*>(&number), sizeof number);
}

template <typename Number>
Number numberAt(const char* bytes) {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

// The stamp of the last event of a page of the ring buffer, of which `begin` is the first one's.
std::uint64_t lastStamp(std::string_view page, std::uint64_t begin) {
    constexpr std::size_t DATA = 16;
    constexpr std::uint64_t LENGTH = 0xFFFFF;  // above are flags
    const std::size_t end = DATA + (numberAt<std::uint64_t>(page.data() + 8) & LENGTH);
    std::uint64_t stamp = begin;
    for (std::size_t at = DATA; at + 8 <= end && end <= page.size();) {
        const auto word = numberAt<std::uint32_t>(page.data() + at);
        const auto next = numberAt<std::uint32_t>(page.data() + at + 4);
        const std::uint32_t type = word & 31;
        const std::uint64_t delta = word >> 5;
        if (type == 29 && delta == 0) break;  // nothing but padding follows
        stamp = type == 31 ? (std::uint64_t{next} << 27) + delta : stamp + delta;
        if (type == 30) stamp += std::uint64_t{next} << 27;
        const bool hasLength = type == 0 || type == 29;
        at += hasLength ? std::size_t{4} + next : type >= 30 ? std::size_t{8} : 4 + std::size_t{4} * type;
    }
    return stamp;
}

class Mender {
public:
    Mender(int file, std::uint64_t size) : m_file(file), m_size(size) {}

    bool mend() {
        std::uint64_t options = 0;
        if (!readHead_i(options) || !followOptions_i(options)) return false;
        std::string table;
        const std::uint64_t end = std::min(m_size, m_missing);
        for (std::uint64_t at = m_sections; at + HEAD <= end;) {
            const auto section = get_i<Section>(at);
            const std::uint64_t next = section.size < end - at - HEAD ? at + HEAD + section.size : end;
            if (section.id == BUFFER) addBuffer_i(at, (section.flags & COMPRESSED) != 0, next, table);
            at = next;
        }
        if (table.empty()) return false;
        append(table, std::uint16_t{DONE});
        append(table, std::uint32_t{8});
        append(table, std::uint64_t{0});
        std::string text;
        append(text, Section{OPTIONS, 0, 0, table.size()});
        return put_i(m_missing, text + table);
    }

private:
    static constexpr int MOST_SECTIONS = 100;                            // of options
    static constexpr std::uint64_t MOST_BYTES = std::uint64_t{1} << 20;  // of one of them
    static constexpr std::uint64_t FARTHEST = std::uint64_t{1} << 42;    // of places in the file

    // Zeros beyond the end.
    template <typename Value>
    Value get_i(std::uint64_t at) const {
        Value value{};
        if (at + sizeof value > m_size ||
            ::pread(m_file, &value, sizeof value, static_cast<off_t>(at)) != sizeof value)
            return Value{};
        return value;
    }

    bool put_i(std::uint64_t at, std::string_view text) const {
        return ::pwrite(m_file, text.data(), text.size(), static_cast<off_t>(at)) ==
               static_cast<ssize_t>(text.size());
    }

    // Magic, version, byte order, size of a long, page size, two texts, place of the first options.
    bool readHead_i(std::uint64_t& options) {
        constexpr std::size_t FIXED = 18;
        char head[256];
        const ssize_t count = ::pread(m_file, head, sizeof head, 0);
        if (count < static_cast<ssize_t>(sizeof head) || m_size < sizeof head) return false;
        const bool isLittle = head[12] == 0 && std::endian::native == std::endian::little;
        if (head[10] != '7' || !isLittle || head[13] != 8) return false;
        m_page = numberAt<std::uint32_t>(head + 14);
        if (!std::has_single_bit(m_page) || m_page < 4096 || m_page > (1U << 20)) return false;
        std::string_view rest(head + FIXED, sizeof head - FIXED);
        for (int texts = 0; texts < 2; ++texts) {
            const std::size_t end = rest.find('\0');
            if (end == rest.npos || end + 9 > rest.size()) return false;
            rest.remove_prefix(end + 1);
        }
        options = numberAt<std::uint64_t>(rest.data());
        return true;
    }

    // Goes from options to options, up to those that the end of the file has cut.
    bool followOptions_i(std::uint64_t at) {
        for (int sections = 0; sections < MOST_SECTIONS && at < FARTHEST; ++sections) {
            const auto section = get_i<Section>(at);
            m_missing = at;
            if (at + HEAD > m_size || section.size > m_size - at - HEAD) return sections > 0;
            if (section.id != OPTIONS || (section.flags & COMPRESSED) != 0 || section.size > MOST_BYTES)
                return false;
            m_sections = at + HEAD + section.size;
            const std::uint64_t next = readOptions_i(at + HEAD);
            if (next <= at) return false;
            at = next;
        }
        return false;
    }

    // Returns where the next options are, 0 if there are none.
    std::uint64_t readOptions_i(std::uint64_t at) {
        while (at < m_sections) {
            const auto id = get_i<std::uint16_t>(at);
            if (id == DONE) return get_i<std::uint64_t>(at + 6);
            if (id == CPU_COUNT) m_cpus = get_i<std::uint32_t>(at + 6);
            at += std::uint64_t{6} + get_i<std::uint32_t>(at + 2);
        }
        return 0;
    }

    std::uint64_t aligned_i(std::uint64_t at) const { return (at + m_page - 1) / m_page * m_page; }

    // Appends the option that describes a buffer's events.
    void addBuffer_i(std::uint64_t at, bool isCompressed, std::uint64_t end, std::string& table) const {
        const std::uint64_t data = aligned_i(at + HEAD);
        const std::vector<CpuData> cpus = isCompressed ? chunksOf_i(data, end) : pagesOf_i(data, end);
        if (cpus.empty() || cpus.size() > m_cpus) return;
        std::string option;
        append(option, at);
        option.append("\0local\0", 7);  // its name and clock
        append(option, m_page);
        append(option, static_cast<std::uint32_t>(cpus.size()));
        for (std::size_t cpu = 0; cpu < cpus.size(); ++cpu) {
            append(option, static_cast<std::uint32_t>(cpu));
            append(option, cpus[cpu].at);
            append(option, cpus[cpu].size);
        }
        append(table, std::uint16_t{BUFFER_TABLE});
        append(table, static_cast<std::uint32_t>(option.size()));
        table += option;
    }

    // Of each CPU a number of chunks and these, each after its sizes; the CPUs begin at pages. A number that
    // counts chunks beyond the end is corrected.
    std::vector<CpuData> chunksOf_i(std::uint64_t at, std::uint64_t end) const {
        std::vector<CpuData> cpus;
        while (at + 4 <= end) {
            const auto count = get_i<std::uint32_t>(at);
            std::uint32_t whole = 0;
            std::uint64_t place = at + 4;
            for (; whole < count && place + 8 <= end; ++whole) {
                const std::uint64_t next = place + 8 + get_i<std::uint32_t>(place);
                if (next > end) break;
                place = next;
            }
            if (whole == 0) break;
            if (whole < count && !put_i(at, {reinterpret_cast<const char*>(&whole), sizeof whole})) break;
            cpus.push_back({at, place - at});
            at = aligned_i(place);
        }
        return cpus;
    }

    // Pages begin with their stamp. Where it lies before the events of the page before, another CPU begins.
    std::vector<CpuData> pagesOf_i(std::uint64_t at, std::uint64_t end) const {
        std::vector<CpuData> cpus;
        std::string page(m_page, '\0');
        std::uint64_t last = 0;
        for (; at + m_page <= end; at += m_page) {
            if (::pread(m_file, page.data(), m_page, static_cast<off_t>(at)) != static_cast<ssize_t>(m_page))
                break;
            const auto begin = numberAt<std::uint64_t>(page.data());
            if (cpus.empty() || begin < last) cpus.push_back({at, 0});
            cpus.back().size += m_page;
            last = lastStamp(page, begin);
        }
        return cpus;
    }

    const int m_file;
    const std::uint64_t m_size;
    std::uint32_t m_page = 0;
    std::uint32_t m_cpus = 0;
    std::uint64_t m_sections = 0;  // where those begin that no options describe
    std::uint64_t m_missing = 0;   // where the options would be that describe them
};

}  // namespace

bool mendTracedat(int file, std::uint64_t size) {
    return Mender(file, size).mend();
}

}  // namespace host::importers
