#pragma once

#include <charconv>
#include <map>
#include <string>

#include "host/importers/json_pull.h"
#include "host/importers/system_line.h"

namespace host::importers {

// What JSON results say of the machine: texts and numbers as texts, by the members' own names.
using SystemMembers = std::map<std::string, std::string>;

// Reads an object whose members are texts or numbers, and adds them.
void readSystemMembers(JsonPull& json, SystemMembers& members);

// What both kinds of results name alike. A member that is not there leaves its default.
SystemDescription describeSystem(const SystemMembers& members);

// A member as a text, empty if there is none.
std::string textOf(const SystemMembers& members, const char* key);

// A member as a number, 0 if there is none or it is out of range.
template <typename Number>
Number numberOf(const SystemMembers& members, const char* key) {
    Number number{};
    const auto found = members.find(key);
    if (found != members.end())
        std::from_chars(found->second.data(), found->second.data() + found->second.size(), number);
    return number;
}

}  // namespace host::importers
