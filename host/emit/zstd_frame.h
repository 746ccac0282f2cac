#pragma once

#include <memory>
#include <string>
#include <string_view>

struct ZSTD_CCtx_s;

namespace host::emit {

// Compresses a text that comes in pieces into one zstd frame.
class ZstdFrame {
public:
    ZstdFrame();

    // Appends what comes out to `out`. Everything that was put in can be read back from what has been
    // appended so far; `isLast` ends the frame.
    void compress(std::string_view text, bool isLast, std::string& out);

private:
    struct Deleter {
        void operator()(ZSTD_CCtx_s* context) const;
    };
    std::unique_ptr<ZSTD_CCtx_s, Deleter> m_context;
};

}  // namespace host::emit
