#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "store/zt_extensible_backing_store.h"

namespace exporting::openmetrics {

struct Point {
    std::int64_t stamp;  // milliseconds since 1970
    double value;
};

// The points of one series: the last ones in memory, those before in blocks of the spool.
struct PointList {
    struct Block {
        std::uint64_t offset;
        std::size_t count;
    };

    std::vector<Block> blocks;
    std::vector<Point> last;
};

// Holds the points of all series, which come mixed and are wanted one series after the other, in memory that
// is bounded but for some bytes for each series and block. What does not fit goes to a temporary file.
class PointSpool {
public:
    // Adds a point. `lists` is the number of lists that there are. Returns false if the temporary file
    // failed.
    bool append(PointList& list, std::size_t lists, Point point);

    // Reads the points of `list` in order of arrival into `take`, which is called with blocks of them.
    // Returns false if the temporary file failed.
    template <typename Take>
    bool read(const PointList& list, Take take);

    // Forgets all points; the lists are to be emptied as well.
    void clear() { m_store.reset(); }

private:
    bool write_i(PointList& list);
    bool readBlock_i(const PointList::Block& block);

    std::unique_ptr<pwr::ZTExtensibleBackingStore> m_store;  // null as long as all points are in memory
    std::vector<Point> m_block;
};

template <typename Take>
bool PointSpool::read(const PointList& list, Take take) {
    for (const PointList::Block& block : list.blocks) {
        if (!readBlock_i(block)) return false;
        take(m_block);
    }
    take(list.last);
    return true;
}

}  // namespace exporting::openmetrics
