// Events as the kernel writes them into its buffers.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "host/kernel_events/event.h"
#include "host/kernel_events/raw_format.h"

namespace host::kernel_events {

// What addresses of the kernel stand for. Each is asked for once.
class AddressNames {
public:
    // `find` returns the name of an address, empty if it has none.
    using Find = std::function<std::string(std::uint64_t address)>;
    AddressNames(NamePool& names, Find find) : m_names(names), m_find(std::move(find)) {}

    // Its name; the address in hexadecimal if it has none.
    NameId get(std::uint64_t address);

private:
    NamePool& m_names;
    Find m_find;
    std::unordered_map<std::uint64_t, NameId> m_known;
};

// Reads the events of one name.
class RawEventReader {
public:
    // Nothing if such an event means nothing here, or lacks a field, whose name goes to `missing`.
    static std::optional<RawEventReader> make(const RawFormat& format, std::string& missing);

    // Whether an event of this name means something here.
    static bool isKnown(std::string_view event);

    // Whether the name of such an event is a text elsewhere in the kernel, that a field points at.
    bool pointsAtText() const {
        return m_nameIs == NameIs::Pointer && m_name->form == RawField::Form::Number;
    }

    // Fills all of `event` but stamp, place, CPU and names of the thread in which it was traced. `functions`
    // and `texts` name what fields point at. False if the bytes are none of such an event.
    bool read(std::span<const char> bytes, NamePool& names, AddressNames& functions, AddressNames& texts,
              Event& event) const;

private:
    enum class NameIs : std::uint8_t { Text, File, Function, Pointer };
    struct Spec {
        const char* event;
        Kind kind;
        const char* subject = nullptr;  // fields of these members; null: none
        const char* a = nullptr;
        const char* b = nullptr;
        const char* name = nullptr;
        NameIs nameIs = NameIs::Text;
        const char* other = nullptr;
        const char* state = nullptr;  // of the thread that leaves
    };
    static const Spec SPECS[];
    static const Spec* findSpec_i(std::string_view event);

    bool readName_i(std::span<const char> bytes, NamePool& names, AddressNames& functions,
                    AddressNames& texts, NameId& name) const;

    Kind m_kind = Kind::None;
    NameIs m_nameIs = NameIs::Text;
    std::optional<RawField> m_pid;
    std::optional<RawField> m_subject;
    std::optional<RawField> m_a;
    std::optional<RawField> m_b;
    std::optional<RawField> m_name;
    std::optional<RawField> m_other;
    std::optional<RawField> m_state;
};

}  // namespace host::kernel_events
