#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "plugins/flat_map.h"
#include "plugins/prefetch.h"

namespace overtime {

// The tables that got a row from the latest sampled message of each kind, in order.
//
// Many tables do not fit into the processor's cache: each has left it before its next row comes. As the order
// of the rows is mostly that of the time before, within a message and from message to message, the tables
// next in that order are fetched while the others are written: step by step, as each step says where the
// next is.
//
// `Key` tells the kinds of messages apart, as in a FlatMap. `Table` has fetch(stage) for the stages 0 to
// STAGES - 1.
template <typename Key, typename Table>
class RowOrder {
public:
    // Starts a message. Tables are fetched ahead only if it is known that there are many.
    void begin(const Key& key, bool hasManyTables) {
        Sequence* const expected = m_current != nullptr ? m_current->next : nullptr;
        const bool isExpected = expected != nullptr && expected->key == key;
        Sequence* const sequence = isExpected ? expected : sequenceOf(key);
        if (m_current != nullptr) m_current->next = sequence;
        m_current = sequence;
        m_count = 0;
        m_fetchesAhead = hasManyTables;
        if (!isExpected || m_ahead[0].sequence == nullptr) {
            for (std::size_t stage = 0; stage < STAGES; ++stage)
                m_ahead[stage] = {m_current, (STAGES - stage) * DISTANCE};
        }
        if (m_fetchesAhead) fetchNextMessages();
    }

    // Adds the table of a row that has just been begun.
    void add(Table& table) {
        std::vector<Table*>& tables = m_current->tables;
        if (m_count < tables.size()) {
            tables[m_count] = &table;
        } else {
            tables.push_back(&table);
        }
        ++m_count;
        if (!m_fetchesAhead) return;
        for (std::size_t stage = 0; stage < STAGES; ++stage)
            if (const Table* const ahead = m_ahead[stage].step()) ahead->fetch(stage);
    }

    // Ends a message and returns its tables.
    const std::vector<Table*>& end() {
        m_current->tables.resize(m_count);
        return m_current->tables;
    }

private:
    static constexpr std::size_t STAGES = Table::STAGES;
    static constexpr std::size_t DISTANCE = 4;

    struct Sequence {
        Key key;
        std::vector<Table*> tables;
        Sequence* next = nullptr;  // that of the next message, the time before
    };

    // A place in the expected order.
    struct Ahead {
        const Sequence* sequence = nullptr;
        std::size_t index = 0;

        // Goes on to the next table and returns it; null, and the end of this, if none is expected.
        const Table* step() {
            while (sequence != nullptr && index >= sequence->tables.size()) {
                index -= sequence->tables.size();
                sequence = sequence->tables.empty() ? nullptr : sequence->next;
            }
            return sequence != nullptr ? sequence->tables[index++] : nullptr;
        }
    };

    Sequence* sequenceOf(const Key& key) {
        if (Sequence* const* const known = m_sequenceOf.find(key)) return *known;
        m_sequences.push_back(std::make_unique<Sequence>());
        m_sequences.back()->key = key;
        return m_sequenceOf[key] = m_sequences.back().get();
    }

    PREFETCHES void fetchNextMessages() const {
        const Sequence* const next = m_current->next;
        if (next == nullptr) return;
        prefetch(next->tables.data(), CACHE_LINE);
        prefetch(next->next, sizeof(Sequence));  // all but the current one have a next one
    }

    std::vector<std::unique_ptr<Sequence>> m_sequences;
    FlatMap<Key, Sequence*> m_sequenceOf;
    Sequence* m_current = nullptr;
    std::size_t m_count = 0;  // rows of the current message
    bool m_fetchesAhead = false;
    Ahead m_ahead[STAGES];
};

}  // namespace overtime
