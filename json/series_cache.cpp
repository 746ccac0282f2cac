#include "json/series_cache.h"

#include <utility>

namespace {

constexpr std::size_t FIRST_SIZE = 256;

}  // namespace

SeriesCache::SeriesCache() : m_entries(FIRST_SIZE) {}

void SeriesCache::insert(const Key& key, const Slot& slot) {
    if (2 * (m_count + 1) > m_entries.size()) grow_i();
    m_entries[findIndex_i(key)] = {key, slot};
    ++m_count;
}

void SeriesCache::grow_i() {
    std::vector<Entry> old(2 * m_entries.size());
    old.swap(m_entries);
    for (const Entry& entry : old)
        if (entry.slot.series != nullptr) m_entries[findIndex_i(entry.key)] = entry;
}
