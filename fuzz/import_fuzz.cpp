// Takes any bytes for an input of replay, of the kind that they look like and then of each kind there is, and
// twice each, as two parts of one run. Whatever lines come out must be JSON that the stream's reader can
// parse.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/importers/input_kinds.h"
#include "host/model/registry.h"
#include "host/stream/stream_reader.h"

namespace {

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

void import(const importers::InputKind& kind, std::string_view bytes) {
    model::Registry::reset();
    Nothing nothing;
    stream::StreamReader reader(nothing);
    std::uint64_t number = 0;
    emit::Output output([&](std::string_view line) {
        if (reader.line(line, ++number)) return true;
        // What a file says can be refused, but not for how it is written.
        if (reader.error().starts_with("bad JSON")) std::abort();
        return false;
    });
    const auto importer = kind.make({output, [](const std::string&) {}});
    for (int part = 0; part < 2 && output.isOpen(); ++part) {
        Bytes source(bytes);
        importers::Input input("name", source);
        importers::Damage damage;
        const bool isGood = importer->read(input, damage);
        if (isGood != damage.what.empty()) std::abort();
    }
    if (output.isOpen()) importer->finish();
    if (kind.place == nullptr) return;
    Bytes source(bytes);
    importers::Input input("name", source);
    kind.place(input);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    Bytes source(bytes);
    importers::Input input("name", source);
    importers::recogniseKind(input.content());
    for (const importers::InputKind& kind : importers::inputKinds())
        if (kind.make != nullptr) import(kind, bytes);
    model::Registry::reset();
    return 0;
}
