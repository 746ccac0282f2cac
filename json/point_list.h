#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "json/point.h"
#include "plugins/packing.h"
#include "plugins/prefetch.h"

// The points of a series in order of arrival, packed without gaps into chunks that never move.
//
// A point is a record of 17 bytes for one value without a state of its own, 18 with a state id of 1 to 255
// and 21 with a higher one; each further pair of the point costs 9, 10 or 13 bytes:
//
// | Bytes | Field   | In                                                                          |
// |-------|---------|-----------------------------------------------------------------------------|
// | 1     | tag     | every record: bit 0 a further pair of the point before, bit 1 wide times,   |
// |       |         | bits 2 and 3 the width of the id (0: it is 0, 1: one byte, 2: four bytes)   |
// | 4, 4  | times   | points: end less the end of the point before (less 0 for the first one),    |
// |       |         | and end less start                                                          |
// | 8, 8  | times   | points with wide times instead: end, and end less start                     |
// | 0,1,4 | id      | every record: the state's id                                                |
// | 8     | value   | every record: a double                                                      |
class alignas(32) PointList {
public:
    // Reads the points of a list one after the other. The list must not change meanwhile.
    class Reader {
    public:
        explicit Reader(const PointList& list) : m_list(list) {}

        // Makes `point` the next point and returns true, or returns false at the end.
        bool next(Point& point);

    private:
        bool advance_i();
        void readTimes_i(std::uint8_t tag, Point& point);
        void readPair_i(std::uint8_t tag, Value& value);

        const PointList& m_list;
        std::size_t m_chunk = 0;  // the next one
        const char* m_at = nullptr;
        const char* m_end = nullptr;
        std::uint64_t m_lastEnd = 0;
    };

    PointList() = default;
    PointList(const PointList&) = delete;
    PointList& operator=(const PointList&) = delete;

    // Appends a point with one pair. Times are in microseconds.
    void addPoint(std::uint64_t start, std::uint64_t end, std::uint32_t id, double value);

    // Appends a pair to the last point. REQUIRES: the list is not empty.
    void addPair(std::uint32_t id, double value);

    // From now on the points are read with each id replaced by the entry of `map` at it.
    void remapIds(const std::vector<unsigned int>& map);

    std::size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }

    // Ask the processor to fetch this object, and, once it is there, the place of the next point.
    PREFETCHES void fetch() const { prefetch(&m_at, CACHE_LINE / 2); }
    PREFETCHES void fetchEnd() const { prefetch(m_at, CACHE_LINE / 2); }

    // The memory that the points take.
    std::size_t getByteCount() const { return m_allocated; }

private:
    enum Tag : std::uint8_t {
        TAG_FURTHER_PAIR = 0x01,
        TAG_WIDE_TIMES = 0x02,
        TAG_ID_MASK = 0x0C,
        TAG_NO_ID = 0x00,
        TAG_SHORT_ID = 0x04,
        TAG_LONG_ID = 0x08,
    };
    static constexpr std::size_t MAX_RECORD_SIZE = 1 + 16 + 4 + 8;
    static constexpr std::size_t FIRST_CHUNK_SIZE = 128;
    static constexpr std::size_t MAX_CHUNK_SIZE = std::size_t{64} * 1024;

    struct Chunk {
        std::unique_ptr<char[]> bytes;
        const char* end;  // after the last record; of the last chunk it is m_at instead
    };

    void makeRoom_i();
    void putPair_i(char* at, std::uint8_t tag, std::uint32_t id, double value);
    const char* endOf_i(std::size_t chunk) const;

    // What each point needs, in one line of the cache.
    char* m_at = nullptr;   // after the last record
    char* m_end = nullptr;  // of the last chunk
    std::size_t m_size = 0;
    std::uint64_t m_lastEnd = 0;

    std::vector<Chunk> m_chunks;
    std::size_t m_allocated = 0;
    std::vector<unsigned int> m_idMap;  // empty: ids stay as they are
};

inline void PointList::putPair_i(char* at, std::uint8_t tag, std::uint32_t id, double value) {
    char* out = at + 1;
    if (tag & TAG_WIDE_TIMES)
        out += 16;
    else if (!(tag & TAG_FURTHER_PAIR))
        out += 8;
    if (id == 0) {
        tag |= TAG_NO_ID;
    } else if (id <= 0xFF) {
        tag |= TAG_SHORT_ID;
        out = packing::put(out, static_cast<std::uint8_t>(id));
    } else {
        tag |= TAG_LONG_ID;
        out = packing::put(out, id);
    }
    m_at = packing::put(out, value);
    packing::put(at, tag);
}

inline void PointList::addPoint(std::uint64_t start, std::uint64_t end, std::uint32_t id, double value) {
    if (static_cast<std::size_t>(m_end - m_at) < MAX_RECORD_SIZE) makeRoom_i();
    const std::uint64_t step = end - m_lastEnd;
    const std::uint64_t length = end - start;
    std::uint8_t tag = 0;
    if (((step | length) >> 32) == 0) {
        packing::put(m_at + 1, static_cast<std::uint32_t>(step));
        packing::put(m_at + 5, static_cast<std::uint32_t>(length));
    } else {
        tag = TAG_WIDE_TIMES;
        packing::put(m_at + 1, end);
        packing::put(m_at + 9, length);
    }
    putPair_i(m_at, tag, id, value);
    m_lastEnd = end;
    ++m_size;
}

inline void PointList::addPair(std::uint32_t id, double value) {
    if (static_cast<std::size_t>(m_end - m_at) < MAX_RECORD_SIZE) makeRoom_i();
    putPair_i(m_at, TAG_FURTHER_PAIR, id, value);
}
