#include "import/vyrta_writer_impl.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "import/once_tags.h"
#include "import/vyrta_log.h"
#include "plugins/output_file.h"
#include "pwr/utilities.h"

bool VyrtaWriterImpl::m_hasData = false;

VyrtaWriterImpl::VyrtaWriterImpl(const std::string& extension)
    : m_extension(extension), m_valid(true), m_isRefused(false) {}

VyrtaBackingStoreManager* VyrtaWriterImpl::findBackingStore(unsigned long key) const {
    const auto found = m_stores.find(key);
    return found != m_stores.end() ? found->second.get() : nullptr;
}

VyrtaBackingStoreManager* VyrtaWriterImpl::getBackingStore(const std::string& name, unsigned long key) {
    if (VyrtaBackingStoreManager* const manager = findBackingStore(key)) return manager;
    try {
        auto manager = std::make_unique<VyrtaBackingStoreManager>(name);
        return m_stores.emplace(key, std::move(manager)).first->second.get();
    } catch (const char*) {
        // The store has reported why its temporary file could not be made.
        return nullptr;
    } catch (const std::exception&) {
        return nullptr;
    }
}

int VyrtaWriterImpl::fini() {
    int copyError = 0;
    m_isRefused = false;
    if (flushStores_i(copyError) != 0) return 1;
    if (!m_valid || !m_hasData || m_file == nullptr) return discardFile_i();
    const bool finished = finishFile(std::move(m_file), m_fileName, copyError);
    if (finished && copyError != 0)
        LOG_ERROR("Could not complete %s: %s\n", m_fileName.c_str(), std::strerror(copyError));
    return 0;
}

int VyrtaWriterImpl::flushStores_i(int& copyError) {
    while (!m_stores.empty()) {
        const auto first = m_stores.begin();
        VyrtaBackingStoreManager& manager = *first->second;
        if (m_valid) {
            if (!openFile_i()) return VYRTA_FAIL("Could not create %s\n", m_fileName.c_str());
            errno = 0;
            if (manager.flush(m_file.get()) != 0 && manager.m_valid && copyError == 0)
                copyError = errno != 0 ? errno : EIO;
        }
        m_stores.erase(first);
    }
    return 0;
}

// Opens the result, unless this process has opened one before: then there is none, which is told.
bool VyrtaWriterImpl::openFile_i() {
    if (m_file != nullptr || m_isRefused) return true;
    bool opened = true;
    m_isRefused = true;
    pwr::executeOnce<ONCE_OPEN_RESULT>([&] {
        m_isRefused = false;
        m_file = openFile(m_fileName, "wb");
        opened = m_file != nullptr;
    });
    if (m_isRefused)
        LOG_ERROR("%s is not written: a process makes one .pwr file, and an earlier run had it\n",
                  m_fileName.c_str());
    return opened;
}

int VyrtaWriterImpl::discardFile_i() {
    if (m_file != nullptr) {
        // Closing can fail on a full disk; the file is of no use either way.
        m_file.reset();
        if (std::remove(m_fileName.c_str()) != 0) {
            LOG_ERROR("Failed to remove the .pwr result file \"%s\", the file is unusable.\n",
                      m_fileName.c_str());
            return 0;
        }
    }
    LOG_NOTE("Note: A .pwr result file was not created. No supported metric was found.\n");
    return 0;
}
