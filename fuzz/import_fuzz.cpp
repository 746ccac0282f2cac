// Takes any bytes for an input of replay, of the kind that they look like and then of each kind there is.
#include "fuzz/importing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace fuzz;
    const std::string bytes(data, data + size);
    Bytes source(bytes);
    importers::Input input("name", source);
    importers::recogniseKind(input.content());
    for (const importers::InputKind& kind : importers::inputKinds()) {
        if (kind.make == nullptr) continue;
        // Each takes a process, which is worth it for what looks like one.
        if (std::string_view(kind.name) == "tracedat" && kind.sniff(bytes, true) != importers::Sniff::Yes)
            continue;
        import(kind, bytes);
        if (kind.place == nullptr) continue;
        import(kind, bytes, [](const std::string&){}, true);
        Bytes again(bytes);
        importers::Input part("name", again);
        kind.place(part);
    }
    model::Registry::reset();
    return 0;
}
