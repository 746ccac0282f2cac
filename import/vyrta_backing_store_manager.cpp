#include "import/vyrta_backing_store_manager.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "import/vyrta_collection_info.h"
#include "import/vyrta_log.h"
#include "plugins/memory_block.h"
#include "plugins/output_file.h"

namespace {

// What goes on its way from a store to the file at once: little enough to stay in the processor's cache.
constexpr unsigned long MOST_AT_ONCE = 256UL << 10;

// Cuts a file that is being written off at `end`, unless it is of a kind that has no such places.
void cutOff(std::FILE* file, off_t end) {
    if (end >= 0 && std::fflush(file) == 0 && ftruncate(fileno(file), end) == 0) fseeko(file, end, SEEK_SET);
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
    const int reason = errno;
    VYRTA_WARNING("Failed to write to tmp file %s\n", m_store->getPath().c_str());
    LOG_ERROR("Could not spool the records of \"%s\" to %s: %s\n", m_name.c_str(), m_store->getPath().c_str(),
              std::strerror(reason));
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
    const unsigned long piece = std::min(size, MOST_AT_ONCE);
    const MemoryBlock buffer = makeBlock(piece);
    if (buffer == nullptr) {
        VYRTA_WARNING("Failed to allocate buffer of size %ld\n", static_cast<long>(piece));
        errno = ENOMEM;
        return 1;
    }
    const off_t begin = ftello(file);
    // What could not be spilled before fails here, and only this first time with its reason.
    errno = 0;
    m_store->resetForRead();
    const int reason = errno;
    for (unsigned long left = size; left != 0;) {
        const unsigned long wanted = std::min(left, piece);
        if (m_store->read(buffer.get(), wanted) != static_cast<long>(wanted)) {
            VYRTA_WARNING("Failed to read from backing store '%s'. \n", path.c_str());
            const int error = reason != 0 ? reason : errno;
            cutOff(file, begin);
            errno = error;
            return 1;
        }
        if (int error = 0; writeText(file, {buffer.get(), wanted}, error), error != 0) {
            VYRTA_WARNING("Failed to write backing store '%s' buffer to main output file. \n", path.c_str());
            errno = error;
            return 1;
        }
        left -= wanted;
    }
    return 0;
}
