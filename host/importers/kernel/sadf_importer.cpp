#include "host/importers/kernel/sadf_importer.h"

#include <algorithm>

#include "host/base/instant.h"
#include "host/base/text.h"

namespace host::importers {

namespace {

constexpr int DEEPEST = 16;  // values inside others
constexpr std::uint64_t NS_PER_SECOND = 1'000'000'000;

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string joined(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}

}  // namespace

Sniff sniffSadf(std::string_view head, bool isWhole) {
    constexpr std::string_view BEGIN = "{\"sysstat\"";
    std::size_t matched = 0;
    for (const char character : head) {
        if (character == ' ' || character == '\t' || character == '\r' || character == '\n') continue;
        if (character != BEGIN[matched]) return Sniff::No;
        if (++matched == BEGIN.size()) return Sniff::Yes;
    }
    return isWhole ? Sniff::No : Sniff::NeedsMore;
}

std::unique_ptr<Importer> makeSadfImporter(const ImportTarget& target) {
    return std::make_unique<SadfImporter>(target);
}

bool SadfImporter::read(Input& part, Damage& damage) {
    JsonPull json(part.content());
    document_i(json);
    if (json.failed()) damage = {part.content().offset(), json.fault()};
    if (m_builder.samples() == 0 && !json.failed()) m_target.fail("not a single sample is in it");
    return !json.failed();
}

void SadfImporter::document_i(JsonPull& json) {
    std::string key;
    if (!json.enterObject()) return;
    while (json.nextKey(key)) {
        if (key != "sysstat") {
            json.skip();
            continue;
        }
        json.enterObject();
        while (json.nextKey(key)) {
            if (key != "hosts") {
                json.skip();
                continue;
            }
            json.enterList();
            while (json.nextItem()) host_i(json);
        }
    }
}

void SadfImporter::host_i(JsonPull& json) {
    std::string key;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "nodename") {
            m_system.host = json.text();
        } else if (key == "sysname") {
            m_system.osName = json.text();
        } else if (key == "release") {
            m_system.osVersion = json.text();
        } else if (key == "machine") {
            m_system.osType = json.text();
        } else if (key == "number-of-cpus") {
            m_system.threadCount = static_cast<std::uint32_t>(std::min<std::uint64_t>(json.whole(), 65536));
        } else if (key == "statistics") {
            json.enterList();
            while (json.nextItem()) statistics_i(json);
        } else {
            json.skip();
        }
    }
}

// The time stands before the readings.
void SadfImporter::statistics_i(JsonPull& json) {
    std::string key;
    m_hasStamp = false;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "timestamp") {
            timestamp_i(json);
            continue;
        }
        if (!m_hasStamp && !json.failed()) return json.fail("readings without a time");
        Item item;
        value_i(json, key, item);
        deliver_i("", item);
    }
}

void SadfImporter::timestamp_i(JsonPull& json) {
    std::string key;
    std::string date;
    std::string time;
    std::uint64_t interval = 0;
    json.enterObject();
    while (json.nextKey(key)) {
        if (key == "date")
            date = json.text();
        else if (key == "time")
            time = json.text();
        else if (key == "interval")
            interval = json.whole();
        else
            json.skip();
    }
    if (json.failed()) return;
    const auto stamp = base::parseInstant(date + "T" + time + "Z");
    if (!stamp || interval > *stamp / NS_PER_SECOND) return json.fail("no time: " + date + " " + time);
    if (m_builder.samples() > 0 && *stamp <= m_stamp)
        return json.fail("a time that is not behind the one before: " + date + " " + time);
    m_stamp = *stamp;
    m_hasStamp = true;
    m_builder.begin(*stamp, interval * NS_PER_SECOND);
}

// Reads a member's value: a number or text of the item, or more members, or a list of items of their own.
void SadfImporter::value_i(JsonPull& json, const std::string& path, Item& item) {
    if (std::count(path.begin(), path.end(), '.') > DEEPEST || m_depth > DEEPEST)
        return json.fail("values too deep inside others");
    if (json.isObject()) {
        std::string key;
        json.enterObject();
        while (json.nextKey(key)) value_i(json, joined(path, key), item);
    } else if (json.isList()) {
        list_i(json, path);
    } else if (json.isText()) {
        const std::string text = json.text();
        if (!item.name.empty()) return;
        item.name = text;
        item.key = path.substr(path.rfind('.') + 1);
    } else {
        item.values.emplace_back(path, json.number());
    }
}

void SadfImporter::list_i(JsonPull& json, const std::string& path) {
    ++m_depth;
    json.enterList();
    while (json.nextItem()) {
        Item item;
        value_i(json, path, item);
        deliver_i(path, item);
    }
    --m_depth;
}

// `path` is that of the list to which the item belongs; empty if there is none.
void SadfImporter::deliver_i(const std::string& path, const Item& item) {
    std::string entity = path.empty() || item.name.empty() ? "System" : item.name;
    const bool isCpu = item.key == "cpu" || path.find("cpu") != std::string::npos;
    if (item.name == "all") entity = "All";
    if (isCpu && isNumber(item.name)) entity = "CPU" + item.name;
    for (const auto& [metric, value] : item.values) m_builder.add(metric, "", entity, value);
}

void SadfImporter::finish() {
    m_builder.finish(m_system, true);
}

}  // namespace host::importers
