#pragma once

#include <memory>
#include <string>

#include "host/base/descriptor.h"
#include "host/base/descriptor_bytes.h"
#include "host/base/stop_signal.h"
#include "host/importers/buffered_bytes.h"

namespace host::importers {

// A file, a pipe or standard input that is read once from its begin, decompressed if it is compressed.
class Input {
public:
    // Opens `path`; "-" is standard input. Null, and `error` a text for the user, if that fails. Reading ends
    // early once `stop`, which may be null, is requested.
    static std::unique_ptr<Input> open(const std::string& path, const base::StopSignal* stop,
                                       std::string& error);

    // The same for bytes that are elsewhere; `bytes` must outlive the input.
    Input(std::string name, base::ByteSource& bytes);

    const std::string& name() const { return m_name; }
    std::uint64_t fileSize() const { return m_fileSize; }  // 0 if it has none
    bool isStopped() const { return m_stop != nullptr && m_stop->isRequested(); }

    // The file itself, if it is one that can be read at any place and is not compressed; else -1.
    int seekableFile();

    // The content. The first call reads its begin.
    BufferedBytes& content();

private:
    Input(std::string name, base::Descriptor file, int descriptor, const base::StopSignal* stop);
    void decompress_i();

    std::string m_name;
    const base::StopSignal* m_stop = nullptr;
    std::uint64_t m_fileSize = 0;
    base::Descriptor m_file;  // not open if it is not ours to close
    std::unique_ptr<base::DescriptorBytes> m_descriptorBytes;
    BufferedBytes m_stored;
    std::unique_ptr<base::ByteSource> m_decompressed;  // these two are null if the file is not compressed
    std::unique_ptr<BufferedBytes> m_content;
    bool m_isBegun = false;
};

}  // namespace host::importers
