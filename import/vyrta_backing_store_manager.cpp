#include "import/vyrta_backing_store_manager.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>

#include "import/vyrta_collection_info.h"
#include "import/vyrta_log.h"

namespace {

// Lets the system back the whole large pages of fresh memory at once: it is touched once, from end to end, so
// that faults for small pages would cost more than the copy.
void askForLargePages(char* block, std::size_t size) {
    constexpr std::uintptr_t LARGE_PAGE = std::uintptr_t{2} << 20;
    const auto begin = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (begin + LARGE_PAGE - 1) & ~(LARGE_PAGE - 1);
    const std::uintptr_t last = (begin + size) & ~(LARGE_PAGE - 1);
    if (first < last) madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
}

}  // namespace

VyrtaBackingStoreManager::VyrtaBackingStoreManager(const std::string& name)
    : m_store(std::make_unique<pwr::ZTExtensibleBackingStore>(pwr::ZTExtensibleBackingStore::WINDOW_LIMIT)),
      m_name(name),
      m_valid(true) {}

VyrtaBackingStoreManager::~VyrtaBackingStoreManager() {
    VYRTA_INFO("Removing tmp backing store file: %s\n", m_store->getPath().c_str());
}

int VyrtaBackingStoreManager::pushBuffer_i(const char* buffer, unsigned int size) {
    if (!m_valid) return 0;
    if (m_store->write(buffer, size) == static_cast<long>(size)) return 0;
    VYRTA_WARNING("Failed to write to tmp file %s\n", m_store->getPath().c_str());
    return 1;
}

int VyrtaBackingStoreManager::flush(std::FILE* file) {
    if (file == nullptr) return 1;
    const std::string& path = m_store->getPath();
    VYRTA_INFO("Processing tmp file: %s\n", path.c_str());
    if (!m_valid) {
        LOG_NOTE(
            "Note: The .pwr file will not contain data associated with '%s'. This metric is not supported "
            "for "
            "visualization in Vyrta(TM).\n",
            m_name.c_str());
        return 1;
    }

    const unsigned long size = m_store->size();
    if (size == 0) return 0;
    const std::unique_ptr<char, FreeDeleter> block(static_cast<char*>(std::malloc(size)));
    if (block == nullptr) {
        VYRTA_WARNING("Failed to allocate buffer of size %ld\n", static_cast<long>(size));
        return 1;
    }
    askForLargePages(block.get(), size);
    m_store->resetForRead();
    if (m_store->read(block.get(), size) != static_cast<long>(size)) {
        VYRTA_WARNING("Failed to read from backing store '%s'. \n", path.c_str());
        return 1;
    }
    if (std::fwrite(block.get(), 1, size, file) != size) {
        VYRTA_WARNING("Failed to write backing store '%s' buffer to main output file. \n", path.c_str());
        return 1;
    }
    return 0;
}
