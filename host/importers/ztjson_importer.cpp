#include "host/importers/ztjson_importer.h"

#include <algorithm>

#include "host/importers/json_pull.h"
#include "host/importers/ztjson_document.h"
#include "host/importers/ztjson_parts.h"

namespace host::importers {

namespace {

// Keys that stand at the top, those of a part first.
constexpr std::string_view KEYS[] = {"Metadata", "Data", "fileType", "version", "systemMetaData", "data"};
constexpr std::size_t PART_KEYS = 2;

bool isOfPart(const std::string& key) {
    return std::find(KEYS, KEYS + PART_KEYS, key) != KEYS + PART_KEYS;
}

// Reads either, and finds out which by the first key.
class ZtjsonImporter : public Importer {
public:
    explicit ZtjsonImporter(const ImportTarget& target) : m_document(target), m_parts(target) {}

    bool read(Input& part, Damage& damage) override {
        JsonPull json(part.content());
        std::string key;
        if (json.enterObject() && json.nextKey(key)) {
            isOfPart(key) ? m_parts.read(json, key) : m_document.read(json, key);
        }
        damage = {part.content().offset(), part.isStopped() ? std::string() : json.fault()};
        return damage.what.empty();
    }

    void finish() override { m_parts.finish(); }

private:
    ZtjsonDocument m_document;
    ZtjsonParts m_parts;
};

}  // namespace

Sniff sniffZtjson(std::string_view head, bool isWhole) {
    constexpr std::string_view BLANKS = " \t\r\n";
    const auto skipTo = [&](char character) {
        head.remove_prefix(std::min(head.find_first_not_of(BLANKS), head.size()));
        if (head.empty()) return isWhole ? Sniff::No : Sniff::NeedsMore;
        if (head.front() != character) return Sniff::No;
        head.remove_prefix(1);
        return Sniff::Yes;
    };
    for (const char character : {'{', '"'})
        if (const Sniff sniff = skipTo(character); sniff != Sniff::Yes) return sniff;
    bool isBegun = false;  // of a key that is not there as a whole
    for (const std::string_view key : KEYS) {
        const std::string whole = std::string(key) + '"';
        if (head.starts_with(whole)) return Sniff::Yes;
        isBegun = isBegun || std::string_view(whole).starts_with(head);
    }
    return isBegun && !isWhole ? Sniff::NeedsMore : Sniff::No;
}

std::optional<PartKey> placeZtjson(Input& part) {
    JsonPull json(part.content());
    std::string key;
    if (!json.enterObject() || !json.nextKey(key)) return std::nullopt;
    // A document is a whole run: the same as no other.
    if (!isOfPart(key)) return PartKey{part.name(), 0, 0};
    return ZtjsonParts::place(json, key);
}

std::unique_ptr<Importer> makeZtjsonImporter(const ImportTarget& target) {
    return std::make_unique<ZtjsonImporter>(target);
}

}  // namespace host::importers
