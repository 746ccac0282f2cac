#include "host/emit/zstd_frame.h"

#include <zstd.h>

#include <new>

namespace host::emit {

ZstdFrame::ZstdFrame() : m_context(ZSTD_createCCtx()) {
    if (m_context == nullptr) throw std::bad_alloc();
    ZSTD_CCtx_setParameter(m_context.get(), ZSTD_c_checksumFlag, 1);
}

void ZstdFrame::Deleter::operator()(ZSTD_CCtx_s* context) const {
    ZSTD_freeCCtx(context);
}

void ZstdFrame::compress(std::string_view text, bool isLast, std::string& out) {
    ZSTD_inBuffer in{text.data(), text.size(), 0};
    std::size_t left = 1;
    while (left != 0) {
        const std::size_t used = out.size();
        out.resize(used + ZSTD_CStreamOutSize());
        ZSTD_outBuffer room{out.data() + used, out.size() - used, 0};
        left = ZSTD_compressStream2(m_context.get(), &room, &in, isLast ? ZSTD_e_end : ZSTD_e_flush);
        out.resize(used + room.pos);
        if (ZSTD_isError(left) != 0) throw std::bad_alloc();  // nothing else can fail here
    }
}

}  // namespace host::emit
