// Compressed files, read as what they hold.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "host/base/byte_source.h"

namespace host::importers {

// Bytes that must be known to tell.
constexpr std::size_t MAGIC_SIZE = 4;

// True if a file that begins with this byte can be compressed.
bool mayBeCompressed(std::string_view head);

// True if a file that begins with these bytes is compressed by zstd or gzip.
bool isCompressed(std::string_view head);

// Reads what `compressed`, which must outlive the result, holds; `head` are its first bytes, which it will
// deliver once more. Several frames or members one after the other are one content.
//
// A content that ends early or is damaged delivers what stands before; error() then says where, counting the
// bytes of the compressed file.
std::unique_ptr<base::ByteSource> decompress(base::ByteSource& compressed, std::string_view head);

}  // namespace host::importers
