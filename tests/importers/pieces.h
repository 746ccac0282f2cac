#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

#include "host/base/byte_source.h"

namespace test {

// Delivers a text in pieces of `step` bytes.
class Pieces : public host::base::ByteSource {
public:
    Pieces(std::string text, std::size_t step) : m_text(std::move(text)), m_step(step) {}
    std::size_t read(char* to, std::size_t size) override {
        const std::size_t count = std::min({size, m_step, m_text.size() - m_at});
        m_text.copy(to, count, m_at);
        m_at += count;
        return count;
    }
    std::uint64_t bytesRead() const override { return m_at; }
    const std::string& error() const override { return m_error; }

private:
    std::string m_text;
    std::size_t m_step;
    std::size_t m_at = 0;
    std::string m_error;
};

}  // namespace test
