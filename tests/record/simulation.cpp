#include "tests/record/simulation.h"

#include <rapidjson/document.h>

#include "host/base/text.h"

namespace simulation {

namespace {

using host::base::fixedText;
using rapidjson::Value;

std::vector<rapidjson::Document> parsed(const std::vector<std::string>& lines) {
    std::vector<rapidjson::Document> documents(lines.size());
    for (std::size_t i = 0; i < lines.size(); ++i) documents[i].Parse(lines[i].c_str());
    return documents;
}

bool is(const Value& line, const char* key, const char* value) {
    return line.HasMember(key) && std::string_view(line[key].GetString()) == value;
}

// Names of the handles, with the attribute values of those that have some.
std::map<unsigned, std::string> handleNames(const std::vector<rapidjson::Document>& lines) {
    std::map<unsigned, std::string> names;
    for (const Value& line : lines) {
        if (is(line, "def", "process")) names[line["id"].GetUint()] = line["path"].GetString();
        if (!line.HasMember("def") || !line.HasMember("name") || is(line, "def", "metric") ||
            is(line, "def", "quantity"))
            continue;
        std::string& name = names[line["id"].GetUint()] = line["name"].GetString();
        if (!line.HasMember("attributes")) continue;
        for (const Value& pair : line["attributes"].GetArray()) {
            const auto value = pair[1].MemberBegin();
            name += " " + names[pair[0].GetUint()] + "=";
            name += std::string_view(value->name.GetString()) == "h"
                        ? names[value->value.GetUint()]
                        : std::to_string(value->value.GetInt64());
        }
    }
    return names;
}

std::string valueText(const Value& value, std::map<unsigned, std::string>& names) {
    if (value.HasMember("u")) return std::to_string(value["u"].GetUint64());
    if (value.HasMember("r")) return fixedText(value["r"].GetDouble(), 3);
    return names[value["h"].GetUint()];
}

}  // namespace

std::vector<std::string> Recording::elements(const std::string& metric) const {
    std::vector<std::string> texts;
    const auto lines = parsed(m_lines);
    auto names = handleNames(lines);
    unsigned id = 0;
    for (const Value& line : lines) {
        if (is(line, "def", "metric") && is(line, "name", metric.c_str())) id = line["id"].GetUint();
        if (id == 0 || !is(line, "msg", "metric") || line["metric"].GetUint() != id) continue;
        const auto msec = [](std::uint64_t ticks) { return fixedText(static_cast<double>(ticks) / 1e6, 0); };
        for (const Value& element : line["data"].GetArray())
            texts.push_back(msec(line["t"].GetUint64() - Clock::START) + " " + names[element["e"].GetUint()] +
                            ": " + names[element["d"].GetUint()] + " " + msec(element["dur"].GetUint64()) +
                            " " + valueText(element["v"], names));
    }
    return texts;
}

std::vector<std::string> Recording::rows(const std::string& title) const {
    std::vector<std::string> texts;
    unsigned id = 0;
    for (const Value& line : parsed(m_lines)) {
        if (is(line, "def", "table") && is(line, "title", title.c_str())) id = line["id"].GetUint();
        if (id == 0 || !is(line, "msg", "row") || line["table"][1].GetUint() != id) continue;
        std::string text;
        for (const Value& cell : line["cells"].GetArray())
            text += (text.empty() ? "" : ", ") + std::string(cell.GetString());
        texts.push_back(text);
    }
    return texts;
}

}  // namespace simulation
