// Runs an importer on any bytes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>

#include "host/importers/input_kinds.h"
#include "host/model/registry.h"
#include "host/stream/stream_reader.h"

namespace fuzz {

using namespace host;

class Bytes : public base::ByteSource {
public:
    explicit Bytes(std::string_view bytes) : m_bytes(bytes) {}
    std::size_t read(char* to, std::size_t size) override {
        const std::size_t count = m_bytes.substr(m_at).copy(to, size);
        m_at += count;
        return count;
    }
    std::uint64_t bytesRead() const override { return m_at; }
    const std::string& error() const override { return m_error; }

private:
    std::string_view m_bytes;
    std::size_t m_at = 0;
    std::string m_error;
};

class Nothing : public stream::MessageSink {
    void setLine(std::uint64_t) override {}
    void table(const pwr::TableMessage&, pwr::TableClass) override {}
    void text(const pwr::TextMessage&) override {}
    void system(const pwr::SystemMessage&) override {}
    void metric(const pwr::Metric&) override {}
    void container(const pwr::MetricContainerInfoMessage&) override {}
    void id(const pwr::IdMessage&) override {}
    void flush(const pwr::SystemMetadata&) override {}
};

// Takes the bytes twice, as two parts of one run. Whatever lines come out must be JSON that the stream's
// reader can parse. `tell` gets what the importer tells the user. `isPartAlone`: as a part without those
// before it.
inline void import(
    const importers::InputKind& kind, std::string_view bytes,
    const std::function<void(const std::string&)>& tell = [](const std::string&) {},
    bool isPartAlone = false) {
    model::Registry::reset();
    Nothing nothing;
    stream::StreamReader reader(nothing);
    std::uint64_t number = 0;
    emit::Output output([&](std::string_view line) -> bool {
        if (reader.line(line, ++number)) return true;
        // What a file says can be refused, but not for how it is written.
        if (!reader.error().starts_with("bad JSON")) return false;
        std::fprintf(stderr, "%s: %.*s\n", reader.error().c_str(), static_cast<int>(line.size()),
                     line.data());
        std::abort();
    });
    importers::ImportTarget target{output, [](const std::string&) {}, tell};
    target.isPartAlone = isPartAlone;
    const auto importer = kind.make(target);
    for (int part = 0; part < 2 && output.isOpen(); ++part) {
        Bytes source(bytes);
        importers::Input input("name", source);
        importers::Damage damage;
        const bool isGood = importer->read(input, damage);
        if (isGood != damage.what.empty()) std::abort();
    }
    if (output.isOpen()) importer->finish();
}

}  // namespace fuzz
