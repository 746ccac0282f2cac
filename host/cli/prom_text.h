#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace host::cli {

// Turns the text of the writer "openmetrics" into text format 0.0.4, over several of its results.
class PromText {
public:
    void take(std::string_view text);

    // Takes what `text` gave for the part of a recording before this one: its counters go on.
    void continueFrom(std::string_view text);

    std::string text() const;

private:
    struct Family {
        std::string name;                           // of its samples
        std::string head;                           // lines TYPE and HELP
        std::vector<std::string> series;            // in order of first appearance
        std::map<std::string, std::string> values;  // by series
        std::map<std::string, std::string> before;  // of a counter: in parts before this one
    };

    void takeType_i(std::string_view line);
    void takeHelp_i(std::string_view line);
    void takeSample_i(std::string_view line);
    static std::string value_i(const Family& family, const std::string& series);

    std::vector<std::string> m_names;  // of the families, in order of first appearance
    std::map<std::string, Family> m_families;
    std::string m_current;  // name of the family whose lines are being taken
    bool m_isNew = false;
};

}  // namespace host::cli
