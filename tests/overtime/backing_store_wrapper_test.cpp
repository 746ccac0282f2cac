// The row store against a table kept in memory and printed in the plainest way.
#include "overtime/backing_store_wrapper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "tests/support/stream_runner.h"

namespace {

using testing::ElementsAre;

constexpr std::size_t CHUNK = 1048576;

struct PlainTable {
    std::string defaultValue;
    std::string delimiter;
    std::vector<std::string> titles;
    std::vector<std::size_t> widths;
    std::vector<std::vector<std::string>> rows;
    std::map<std::size_t, std::string> pending;

    void addColumn(const std::string& title) {
        titles.push_back(title);
        widths.push_back(title.size());
    }
    void push(const std::string& text, std::size_t column) {
        widths[column] = std::max(widths[column], text.size());
        pending[column] = text;
    }
    void complete() {
        std::vector<std::string> row;
        for (std::size_t i = 0; i < titles.size(); ++i)
            row.push_back(pending.count(i) != 0 ? pending[i] : defaultValue);
        rows.push_back(row);
        pending.clear();
    }
    std::string line(std::vector<std::string> cells) const {
        cells.resize(titles.size(), defaultValue);
        std::string text;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (i != 0) text += delimiter + " ";
            if (cells[i].size() < widths[i]) text.append(widths[i] - cells[i].size(), ' ');
            text += cells[i];
        }
        return text + "\n";
    }
    std::string print(const std::string& title) const {
        std::string text = title + "\n" + line(titles);
        // A row from before the first column has no cell that could go without a delimiter.
        for (const auto& row : rows) text += (row.empty() ? delimiter + " " : "") + line(row);
        return text + "\n";
    }
};

// A row store and the plain table that it must print like.
class Pair {
public:
    explicit Pair(const std::string& defaultValue = "n/a", const std::string& delimiter = ",")
        : m_store("Title", defaultValue) {
        m_plain.defaultValue = defaultValue;
        m_plain.delimiter = delimiter;
    }
    void addColumn(const std::string& title) {
        EXPECT_EQ(m_store.addColumn(title), m_plain.titles.size());
        m_plain.addColumn(title);
    }
    void push(const std::string& text, std::size_t column) {
        EXPECT_EQ(m_store.pushCell(text, static_cast<std::uint16_t>(column)), 0);
        m_plain.push(text, column);
    }
    void pushStart(const std::string& first, const std::string& second) {
        overtime::RowStart start;
        start.set(first, second);
        m_store.pushStart(start);
        m_plain.push(first, 0);
        m_plain.push(second, 1);
    }
    void complete() {
        m_store.rowComplete();
        m_plain.complete();
    }
    std::string printed() {
        std::FILE* const file = std::tmpfile();
        EXPECT_EQ(m_store.flush(file, m_plain.delimiter, false), 0);
        std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
        std::rewind(file);
        EXPECT_EQ(std::fread(text.data(), 1, text.size(), file), text.size());
        std::fclose(file);
        return text;
    }
    void check() {
        const std::string got = printed();
        const std::string expected = m_plain.print("Title");
        const auto [a, b] = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end());
        EXPECT_TRUE(a == got.end() && b == expected.end())
            << got.size() << " bytes instead of " << expected.size() << ", difference at " << a - got.begin();
        EXPECT_TRUE(m_store.isComplete());
    }
    BackingStoreWrapper& store() { return m_store; }
    std::size_t columns() const { return m_plain.titles.size(); }

private:
    BackingStoreWrapper m_store;
    PlainTable m_plain;
};

class RowStore : public testing::Test {
protected:
    RowStore() { m_runner.m_environment.m_logLevel = 2; }
    test::StreamRunner m_runner;
};

std::string textOf(std::size_t length, std::minstd_rand& random) {
    std::string text(length, ' ');
    for (char& c : text) c = static_cast<char>('!' + random() % 90);
    return text;
}

TEST_F(RowStore, PrintsRandomTablesLikeAPlainOne) {
    for (unsigned seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        std::minstd_rand random(seed);
        Pair pair(seed % 3 == 0   ? ""
                  : seed % 3 == 1 ? "n/a"
                                  : "a default value that is rather long",
                  seed % 5 == 0 ? std::string(seed / 2, '|') : ",");
        const std::size_t longest = seed % 4 == 0 ? 3000 : 20 + seed;
        for (int step = 0; step < 2000; ++step) {
            const auto action = random() % 16;
            if (action == 0 && pair.columns() < 30) pair.addColumn(textOf(random() % 30, random));
            if (action == 1) pair.complete();
            if (action == 2 && pair.columns() > 1) {
                pair.pushStart(textOf(random() % 8, random),
                               textOf(random() % (random() % 4 == 0 ? 60 : 12), random));
            } else if (action > 1 && pair.columns() != 0) {
                pair.push(textOf(random() % (random() % 8 == 0 ? longest : 12), random),
                          random() % pair.columns());
            }
        }
        if (pair.columns() != 0) pair.check();
    }
}

// What stands in front of the rows moves the chunk's end over all of them.
TEST_F(RowStore, ReadsARecordThatAChunkCuts) {
    const std::string texts[] = {"123456789", "a text of 20 letters"};
    const std::size_t rowLength = 4 + texts[0].size() + 4 + texts[1].size() + 5;
    for (std::size_t shift = 0; shift < rowLength; ++shift) {
        SCOPED_TRACE(shift);
        Pair pair;
        pair.addColumn("A");
        pair.addColumn("B");
        for (std::size_t before = CHUNK - 2 * rowLength + shift; before != 0;) {
            const std::size_t length = before > 8192 ? 4096 : before;
            pair.push(std::string(length - (4 + 4 + 3 + 5), 'x'),
                      0);  // its length, that of n/a, n/a, and the end
            pair.complete();
            before -= length;
        }
        for (int row = 0; row < 3; ++row) {
            pair.push(texts[0], 0);
            pair.push(texts[1], 1);
            pair.complete();
        }
        pair.addColumn("late");
        pair.check();
    }
}

TEST_F(RowStore, ReadsTextsThatAreLongerThanTheChunk) {
    for (const std::size_t length : {CHUNK - 9, CHUNK - 4, CHUNK - 3, CHUNK, 2 * CHUNK, 5 * CHUNK + 1}) {
        SCOPED_TRACE(length);
        std::minstd_rand random(1);
        Pair pair;
        pair.addColumn("A");
        pair.addColumn("B");
        for (const std::size_t cell : {std::size_t{3}, length, std::size_t{700000}, length, std::size_t{1}}) {
            pair.push("short", 0);
            std::string text;
            for (const std::string part = textOf(4099, random); text.size() < cell;) text += part;
            pair.push(text.substr(0, cell), 1);
            pair.complete();
        }
        pair.check();
    }
}

TEST_F(RowStore, TellsHowItReads) {
    const auto linesOf = [&](const std::string& first, const std::string& second) {
        Pair pair;
        pair.addColumn("A");
        for (const std::string& text : {first, second}) {
            pair.push(text, 0);
            pair.complete();
        }
        m_runner.m_environment.m_logLevel = 4;
        m_runner.m_infoLog.m_lines.clear();
        pair.printed();
        m_runner.m_environment.m_logLevel = 2;
        std::vector<std::string> lines;
        for (const auto& line : m_runner.m_infoLog.m_lines)
            lines.push_back(line.m_text.size() > 200 ? "(long)" : line.m_text);
        return lines;
    };
    EXPECT_THAT(linesOf("short", std::string(CHUNK, 'x')),
                ElementsAre("INFO: Column width=1048576\n", "INFO: Read 1048576 bytes from store\n",
                            "INFO: Read short\n", "INFO: Read \n\n",
                            "INFO: Rewinding store by 1048562 bytes to read complete string\n",
                            "INFO: Doubling buffer size to 1048576 bytes to get the next complete string\n",
                            "INFO: Read 1048585 bytes from store\n", "(long)", "INFO: Read \n\n"));
    // A chunk that ends in the length of a text.
    EXPECT_THAT(linesOf(std::string(CHUNK - 11, 'x'), "short"),
                ElementsAre("INFO: Column width=1048565\n", "INFO: Read 1048576 bytes from store\n", "(long)",
                            "INFO: Read \n\n", "INFO: \n",
                            "INFO: Rewinding store by 2 bytes to read next complete string\n",
                            "INFO: Read 14 bytes from store\n", "INFO: Read short\n", "INFO: Read \n\n"));
}

TEST_F(RowStore, RefusesWhatItHasNoPlaceFor) {
    m_runner.m_environment.m_logLevel = 0;
    m_runner.m_environment.m_conditionalTags = {"text-writer-plugin"};
    BackingStoreWrapper store("Title", "n/a");
    EXPECT_EQ(store.addColumn("A"), 0u);
    m_runner.m_infoLog.m_lines.clear();
    EXPECT_EQ(store.pushCell("x", 1), 1);
    EXPECT_EQ(store.flush(nullptr, ",", true), 1);
    EXPECT_EQ(store.pushLine("text"), 0);
    EXPECT_EQ(m_runner.m_infoLog.text(),
              "WARNING: Trying to set data for a column 1 before adding it to the store.Columns added=1\n"
              "WARNING: Please provide a valid output file to write\n");
}

}  // namespace
