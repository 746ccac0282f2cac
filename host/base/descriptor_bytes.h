#pragma once

#include <string>

#include "host/base/byte_source.h"
#include "host/base/stop_signal.h"

namespace host::base {

// What a file descriptor delivers.
class DescriptorBytes : public ByteSource {
public:
    // `descriptor` stays the caller's. Reading ends early once `stop`, which may be null, is requested.
    explicit DescriptorBytes(int descriptor, const StopSignal* stop = nullptr)
        : m_descriptor(descriptor), m_stop(stop) {}

    std::size_t read(char* to, std::size_t size) override;
    std::uint64_t bytesRead() const override { return m_bytesRead; }
    const std::string& error() const override { return m_error; }

private:
    bool waitForInput_i() const;
    bool isStopped_i() const { return m_stop != nullptr && m_stop->isRequested(); }

    int m_descriptor;
    const StopSignal* m_stop;
    std::uint64_t m_bytesRead = 0;
    std::string m_error;
};

}  // namespace host::base
