#include "json/point_list.h"

#include <algorithm>

void PointList::makeRoom_i() {
    // A chunk is as big as all before it together, so at most half of the memory lies idle.
    const std::size_t size = std::clamp(m_allocated, FIRST_CHUNK_SIZE, MAX_CHUNK_SIZE);
    m_chunks.push_back({std::make_unique_for_overwrite<char[]>(size), nullptr});
    if (m_chunks.size() > 1) m_chunks[m_chunks.size() - 2].end = m_at;
    m_at = m_chunks.back().bytes.get();
    m_end = m_at + size;
    m_allocated += size;
}

void PointList::remapIds(const std::vector<unsigned int>& map) {
    if (m_idMap.empty())
        m_idMap = map;
    else
        std::transform(m_idMap.begin(), m_idMap.end(), m_idMap.begin(),
                       [&map](unsigned int id) { return map[id]; });
}

const char* PointList::endOf_i(std::size_t chunk) const {
    return chunk + 1 == m_chunks.size() ? m_at : m_chunks[chunk].end;
}

// Goes on to the next chunk where one is used up. False at the end of the list.
bool PointList::Reader::advance_i() {
    if (m_at != m_end) return true;
    if (m_chunk == m_list.m_chunks.size()) return false;
    m_at = m_list.m_chunks[m_chunk].bytes.get();
    m_end = m_list.endOf_i(m_chunk);
    ++m_chunk;
    return true;
}

void PointList::Reader::readTimes_i(std::uint8_t tag, Point& point) {
    std::uint64_t length;
    if (tag & TAG_WIDE_TIMES) {
        m_lastEnd = packing::get<std::uint64_t>(m_at);
        length = packing::get<std::uint64_t>(m_at + 8);
        m_at += 16;
    } else {
        m_lastEnd += packing::get<std::uint32_t>(m_at);
        length = packing::get<std::uint32_t>(m_at + 4);
        m_at += 8;
    }
    point.reset(m_lastEnd - length, m_lastEnd);
}

void PointList::Reader::readPair_i(std::uint8_t tag, Value& value) {
    std::uint32_t id = 0;
    if ((tag & TAG_ID_MASK) == TAG_SHORT_ID) {
        id = packing::get<std::uint8_t>(m_at);
        m_at += 1;
    } else if ((tag & TAG_ID_MASK) == TAG_LONG_ID) {
        id = packing::get<std::uint32_t>(m_at);
        m_at += 4;
    }
    value.addValue(id, packing::get<double>(m_at));
    m_at += sizeof(double);
}

bool PointList::Reader::next(Point& point) {
    if (!advance_i()) return false;
    std::uint8_t tag = packing::get<std::uint8_t>(m_at++);
    readTimes_i(tag, point);
    readPair_i(tag, point.getValue());
    while (advance_i() && ((tag = packing::get<std::uint8_t>(m_at)) & TAG_FURTHER_PAIR)) {
        ++m_at;
        readPair_i(tag, point.getValue());
    }
    if (!m_list.m_idMap.empty()) point.remapValues(m_list.m_idMap);
    return true;
}
