#include "import/vyrta_backing_store_manager.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "import/vyrta_collection_info.h"
#include "import/vyrta_log.h"
#include "plugins/memory_pages.h"
#include "plugins/output_file.h"

char* TransferMemory::reserve(std::size_t size) {
    if (size <= m_size) return m_block.get();
    m_size = 0;
    m_block.reset();
    m_block = makeBlock(size);
    if (m_block == nullptr) return nullptr;
    m_size = size;
    memory_pages::preferLarge(m_block.get(), size);
    return m_block.get();
}

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

int VyrtaBackingStoreManager::flush(std::FILE* file, TransferMemory& memory) {
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
    char* const block = memory.reserve(size);
    if (block == nullptr) {
        VYRTA_WARNING("Failed to allocate buffer of size %ld\n", static_cast<long>(size));
        errno = ENOMEM;
        return 1;
    }
    // What could not be spilled before fails here, and only this first time with its reason.
    errno = 0;
    m_store->resetForRead();
    const int reason = errno;
    if (m_store->read(block, size) != static_cast<long>(size)) {
        VYRTA_WARNING("Failed to read from backing store '%s'. \n", path.c_str());
        if (reason != 0) errno = reason;
        return 1;
    }
    if (int error = 0; writeText(file, {block, size}, error), error != 0) {
        VYRTA_WARNING("Failed to write backing store '%s' buffer to main output file. \n", path.c_str());
        errno = error;
        return 1;
    }
    return 0;
}
