#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "export/result_file.h"

namespace exporting {

// Compresses bytes (zlib format, RFC 1950) and appends them to a page as base64 (RFC 4648).
//
// REQUIRES: any number of writes, then finish, once.
class Block {
public:
    // `page` is appended to, and must outlive this object. Throws std::bad_alloc without memory.
    explicit Block(ResultFile& page);
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    ~Block();

    void write(const void* bytes, std::size_t size);
    void finish();

private:
    void deflate_i(int flush);
    void encode_i(const unsigned char* bytes, std::size_t size);

    ResultFile& m_page;
    z_stream m_stream{};
    unsigned char m_rest[3] = {};  // bytes that wait for others to make four characters
    std::size_t m_restSize = 0;
};

}  // namespace exporting
