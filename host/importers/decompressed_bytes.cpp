#include "host/importers/decompressed_bytes.h"

#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <new>
#include <vector>

namespace host::importers {

namespace {

constexpr std::string_view ZSTD_MAGIC("\x28\xB5\x2F\xFD", 4);
constexpr std::string_view GZIP_MAGIC("\x1F\x8B\x08", 3);
constexpr std::string_view SKIPPED_MAGIC("\x2A\x4D\x18",
                                         3);  // of a frame to skip, behind a byte 0x50 to 0x5F
constexpr std::size_t BUFFER_SIZE = std::size_t{128} * 1024;

// The first byte of a frame to skip, which programs that compress in parallel put before each of data.
bool maySkip(std::string_view head) {
    return !head.empty() && (static_cast<unsigned char>(head.front()) & 0xF0U) == 0x50U;
}

bool isZstd(std::string_view head) {
    return head.starts_with(ZSTD_MAGIC) || (maySkip(head) && head.substr(1).starts_with(SKIPPED_MAGIC));
}

// What the two have in common: a buffer of compressed bytes.
class Decompressed : public base::ByteSource {
public:
    explicit Decompressed(base::ByteSource& compressed) : m_source(compressed), m_buffer(BUFFER_SIZE) {}

    std::size_t read(char* to, std::size_t size) override {
        while (m_error.empty() && !m_isAtEnd) {
            if (m_begin == m_end && !m_isMoreInside && !fill_i()) break;
            const std::size_t got = step_i(to, size);
            // What the decompressor still holds stands before the end of a file that is cut.
            m_isMoreInside = got == size && !isBetweenFrames_i();
            if (got > 0) return got;
        }
        return 0;
    }

    std::uint64_t bytesRead() const override { return m_source.bytesRead(); }
    const std::string& error() const override { return m_error; }

protected:
    // Decompresses some of what is in the buffer. Returns how many bytes came out.
    virtual std::size_t step_i(char* to, std::size_t size) = 0;

    // True between the end of one frame and the begin of the next.
    virtual bool isBetweenFrames_i() const = 0;

    void damage_i(const std::string& what) {
        m_error = "offset " + std::to_string(m_offset + m_begin) + ": " + what;
    }

    base::ByteSource& m_source;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;  // of what is in the buffer and has not been decompressed
    std::size_t m_end = 0;

private:
    bool fill_i() {
        m_offset += m_end;
        m_begin = 0;
        m_end = m_source.read(m_buffer.data(), m_buffer.size());
        if (m_end > 0) return true;
        m_isAtEnd = true;
        m_error = m_source.error();
        if (m_error.empty() && !isBetweenFrames_i()) damage_i("the compressed data ends early");
        return false;
    }

    std::uint64_t m_offset = 0;  // in the file of the buffer's begin
    bool m_isAtEnd = false;
    bool m_isMoreInside = false;
    std::string m_error;
};

class ZstdBytes : public Decompressed {
public:
    explicit ZstdBytes(base::ByteSource& compressed)
        : Decompressed(compressed), m_stream(ZSTD_createDStream()) {
        if (m_stream == nullptr) throw std::bad_alloc();
    }

protected:
    std::size_t step_i(char* to, std::size_t size) override {
        ZSTD_inBuffer in{m_buffer.data(), m_end, m_begin};
        ZSTD_outBuffer out{to, size, 0};
        const std::size_t result = ZSTD_decompressStream(m_stream.get(), &out, &in);
        m_begin = in.pos;
        if (ZSTD_isError(result) != 0) damage_i(std::string("zstd: ") + ZSTD_getErrorName(result));
        m_isBetween = result == 0;
        return out.pos;
    }

    bool isBetweenFrames_i() const override { return m_isBetween; }

private:
    struct Deleter {
        void operator()(ZSTD_DStream* stream) const { ZSTD_freeDStream(stream); }
    };
    std::unique_ptr<ZSTD_DStream, Deleter> m_stream;
    bool m_isBetween = true;
};

class GzipBytes : public Decompressed {
public:
    explicit GzipBytes(base::ByteSource& compressed) : Decompressed(compressed) {
        constexpr int WINDOW_AND_GZIP = 15 + 16;
        if (::inflateInit2(&m_stream, WINDOW_AND_GZIP) != Z_OK) throw std::bad_alloc();
    }
    GzipBytes(const GzipBytes&) = delete;
    GzipBytes& operator=(const GzipBytes&) = delete;
    ~GzipBytes() override { ::inflateEnd(&m_stream); }

protected:
    std::size_t step_i(char* to, std::size_t size) override {
        m_stream.next_in = reinterpret_cast<Bytef*>(m_buffer.data() + m_begin);
        m_stream.avail_in = static_cast<uInt>(m_end - m_begin);
        m_stream.next_out = reinterpret_cast<Bytef*>(to);
        const uInt room = static_cast<uInt>(std::min<std::size_t>(size, 1U << 30));
        m_stream.avail_out = room;
        const int result = ::inflate(&m_stream, Z_NO_FLUSH);
        m_begin = m_end - m_stream.avail_in;
        m_isBetween = result == Z_STREAM_END;
        if (m_isBetween)
            ::inflateReset(&m_stream);
        else if (result != Z_OK && result != Z_BUF_ERROR)
            damage_i(std::string("gzip: ") + (m_stream.msg != nullptr ? m_stream.msg : "damaged data"));
        return room - m_stream.avail_out;
    }

    bool isBetweenFrames_i() const override { return m_isBetween; }

private:
    z_stream m_stream{};
    bool m_isBetween = true;
};

}  // namespace

bool mayBeCompressed(std::string_view head) {
    return head.starts_with(ZSTD_MAGIC.front()) || head.starts_with(GZIP_MAGIC.front()) || maySkip(head);
}

bool isCompressed(std::string_view head) {
    return isZstd(head) || head.starts_with(GZIP_MAGIC);
}

std::unique_ptr<base::ByteSource> decompress(base::ByteSource& compressed, std::string_view head) {
    if (isZstd(head)) return std::make_unique<ZstdBytes>(compressed);
    return std::make_unique<GzipBytes>(compressed);
}

}  // namespace host::importers
