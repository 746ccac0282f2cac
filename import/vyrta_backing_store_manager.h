#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "store/zt_extensible_backing_store.h"

// The store of one block of the result file: a metric's records, or the header. Up to 1 MiB stays in memory.
class VyrtaBackingStoreManager {
public:
    // `name` is the metric's name, for messages. Throws what the store's constructor throws when its
    // temporary file cannot be made.
    explicit VyrtaBackingStoreManager(const std::string& name);
    VyrtaBackingStoreManager(const VyrtaBackingStoreManager&) = delete;
    VyrtaBackingStoreManager& operator=(const VyrtaBackingStoreManager&) = delete;

    // Removes the temporary file.
    ~VyrtaBackingStoreManager();

    // Appends `size` bytes. Returns 0, also when the block is void and the bytes are dropped, or 1 when the
    // store failed.
    int pushBuffer_i(const char* buffer, unsigned int size);

    // Appends the whole block to `file`, which may be null. Returns 0, or 1 when nothing was to be written
    // or, with the reason in errno, not all of it was. Of a block that cannot be read to its end nothing is
    // left.
    int flush(std::FILE* file);

    std::unique_ptr<pwr::ZTExtensibleBackingStore> m_store;
    std::string m_name;
    bool m_valid;  // false when the metric cannot be carried: the block is left out of the file
};
