#include "export/html/block.h"

#include <new>

namespace exporting {

namespace {

constexpr char DIGITS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Four characters for `size` bytes of three.
void appendGroup(ResultFile& page, const unsigned char* bytes, std::size_t size) {
    const unsigned bits = unsigned{bytes[0]} << 16 | unsigned{bytes[1]} << 8 | bytes[2];
    const char group[4] = {DIGITS[bits >> 18], DIGITS[bits >> 12 & 63],
                           size > 1 ? DIGITS[bits >> 6 & 63] : '=', size > 2 ? DIGITS[bits & 63] : '='};
    page.append({group, 4});
}

}  // namespace

Block::Block(ResultFile& page) : m_page(page) {
    if (deflateInit(&m_stream, Z_DEFAULT_COMPRESSION) != Z_OK) throw std::bad_alloc();
}

Block::~Block() {
    deflateEnd(&m_stream);
}

void Block::write(const void* bytes, std::size_t size) {
    constexpr std::size_t most = std::size_t{1} << 30;
    const auto* next = static_cast<const Bytef*>(bytes);
    while (size != 0) {
        const std::size_t part = size < most ? size : most;
        m_stream.next_in = const_cast<Bytef*>(next);  // which zlib only reads
        m_stream.avail_in = static_cast<uInt>(part);
        deflate_i(Z_NO_FLUSH);
        next += part;
        size -= part;
    }
}

void Block::finish() {
    m_stream.avail_in = 0;
    deflate_i(Z_FINISH);
    if (m_restSize == 0) return;
    for (std::size_t i = m_restSize; i < 3; ++i) m_rest[i] = 0;
    appendGroup(m_page, m_rest, m_restSize);
    m_restSize = 0;
}

void Block::deflate_i(int flush) {
    unsigned char out[16384];
    do {
        m_stream.next_out = out;
        m_stream.avail_out = sizeof out;
        ::deflate(&m_stream, flush);
        encode_i(out, sizeof out - m_stream.avail_out);
    } while (m_stream.avail_out == 0);
}

void Block::encode_i(const unsigned char* bytes, std::size_t size) {
    std::size_t i = 0;
    while (i < size && m_restSize != 0) {
        m_rest[m_restSize++] = bytes[i++];
        if (m_restSize < 3) continue;
        appendGroup(m_page, m_rest, 3);
        m_restSize = 0;
    }
    for (; i + 3 <= size; i += 3) appendGroup(m_page, bytes + i, 3);
    while (i < size) m_rest[m_restSize++] = bytes[i++];
}

}  // namespace exporting
