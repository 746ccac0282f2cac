#include "export/openmetrics/point_spool.h"

#include <algorithm>

namespace exporting::openmetrics {

namespace {

// What all lists together may keep in memory, and one at least and at most.
constexpr std::size_t POINTS_IN_MEMORY = (std::size_t{4} << 20) / sizeof(Point);
constexpr std::size_t LEAST_OF_A_LIST = 16;
constexpr std::size_t MOST_OF_A_LIST = 1024;

// Blocks are read here and there, so no more than the like of one should be read at a time.
constexpr unsigned long WINDOW = 4096;

}  // namespace

bool PointSpool::append(PointList& list, std::size_t lists, Point point) {
    const std::size_t most = std::clamp(POINTS_IN_MEMORY / lists, LEAST_OF_A_LIST, MOST_OF_A_LIST);
    if (list.last.size() >= most && !write_i(list)) return false;
    list.last.push_back(point);
    return true;
}

bool PointSpool::write_i(PointList& list) {
    if (m_store == nullptr) {
        try {
            m_store = std::make_unique<pwr::ZTExtensibleBackingStore>(WINDOW);
        } catch (const char*) {
            return false;  // the store has logged why
        }
    }
    const PointList::Block block{m_store->size(), list.last.size()};
    if (m_store->write(list.last.data(), block.count * sizeof(Point)) < 0) return false;
    list.blocks.push_back(block);
    list.last.clear();
    return true;
}

bool PointSpool::readBlock_i(const PointList::Block& block) {
    const std::size_t size = block.count * sizeof(Point);
    m_block.resize(block.count);
    m_store->moveReadHead(block.offset);
    return m_store->read(m_block.data(), size) == static_cast<std::int64_t>(size);
}

}  // namespace exporting::openmetrics
