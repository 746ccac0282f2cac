#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "import/vyrta_backing_store_manager.h"
#include "plugins/output_file.h"

// The stores of a run, and the result file that they become.
class VyrtaWriterImpl {
public:
    // `extension` is that of the result file.
    explicit VyrtaWriterImpl(const std::string& extension);

    // The store of a block; the first call for a key makes it, with `name` for messages. Null when it cannot
    // be made. Stays this object's.
    VyrtaBackingStoreManager* getBackingStore(const std::string& name, unsigned long key);

    // The store of a block that has one, or null.
    VyrtaBackingStoreManager* findBackingStore(unsigned long key) const;

    // Writes the blocks of all valid stores to the result file, by ascending key, and drops the stores. A
    // file without samples is removed again. Returns 1 when the file could not be created, else 0.
    int fini();

    std::string m_extension;
    std::string m_fileName;  // path of the result file
    std::map<std::uint64_t, std::unique_ptr<VyrtaBackingStoreManager>> m_stores;
    FilePtr m_file;    // null until the first store is flushed
    bool m_valid;      // false once the writer as a whole has failed
    bool m_isRefused;  // an earlier run of the process has had the file

    static bool m_hasData;  // a sample has been written in this process

private:
    bool openFile_i();
    int flushStores_i(int& copyError);
    int discardFile_i();
};
