#include "host/cli/completion_script.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "host/cli/preset.h"
#include "host/importers/input_kinds.h"
#include "host/record/trace/trace_sets.h"

namespace host::cli {

namespace {

// How a value is completed: one of some words, several of them with commas between, files that have one of
// some suffixes or any if there are none, or nothing known.
enum class Values { None, Words, List, Files, Folders };

struct Word {
    std::vector<std::string> m_names;  // "-o", "--output"
    std::string m_description;
    Values m_values = Values::None;
    std::string m_words;  // words or suffixes, blanks between; may hold commands of the shell that print them
    bool m_takesValue = false;
};

struct Subcommand {
    std::string m_name;
    std::string m_description;
    std::vector<Word> m_options;
    Word m_positional;  // of files, words or nothing
};

std::string inputKinds() {
    std::string names;
    for (const importers::InputKind& kind : importers::inputKinds())
        names += (names.empty() ? "" : " ") + std::string(kind.name);
    return names;
}

std::string traceSets() {
    std::string names;
    for (const record::TraceSet& set : record::traceSets())
        names += (names.empty() ? "" : " ") + std::string(set.name);
    return names;
}

std::string suffixes(std::initializer_list<const char*> first) {
    std::string all;
    const auto add = [&](std::string_view extension) {
        if (extension.starts_with('.')) all += (all.empty() ? "" : " ") + std::string(extension.substr(1));
    };
    for (const char* extension : first) add(extension);
    for (const importers::InputKind& kind : importers::inputKinds()) add(kind.extension);
    return all;
}

// What the program prints in the first column of its own lists, up to the first empty line.
constexpr const char* WRITERS = "all none $(pwrhost list 2>/dev/null | sed -n '1d;/^$/q;s/ .*//p')";
constexpr const char* SOURCES = "$(pwrhost record --list 2>/dev/null | sed '1d;s/ .*//' | sort -u)";

std::string joined(const std::vector<std::string>& texts, std::string_view between) {
    std::string all;
    for (const std::string& text : texts) all += (all.empty() ? "" : std::string(between)) + text;
    return all;
}

// The words of a type like {bash,zsh}; empty if it is none.
std::string wordsOfType(const std::string& type) {
    const std::size_t first = type.find('{');
    if (first == std::string::npos || type.back() != '}') return {};
    std::string words = type.substr(first + 1, type.size() - first - 2);
    std::replace(words.begin(), words.end(), ',', ' ');
    return words;
}

// A name that the shell would not take as it stands is left out.
std::string presets() {
    std::vector<std::string> names = presetNames();
    const auto isSpecial = [](char byte) {
        return std::string_view("._-").find(byte) == std::string_view::npos &&
               std::isalnum(static_cast<unsigned char>(byte)) == 0;
    };
    std::erase_if(names,
                  [&](const std::string& name) { return std::any_of(name.begin(), name.end(), isSpecial); });
    return joined(names, " ");
}

// The files that a subcommand reads.
std::string suffixesOf(const std::string& command) {
    if (command == "show") return "ztbin pwr";
    if (command == "compare") return suffixes({".csv"});
    return command == "replay" || command == "info" ? suffixes({".stream"}) : "";
}

// The type that an option shows in its help says what it takes.
void describeValue(const CLI::Option& option, const std::string& command, Word& word) {
    const std::string type = option.get_type_name();
    word.m_takesValue = option.get_items_expected_max() > 0;
    if (const std::string words = wordsOfType(type); !words.empty()) {
        word.m_values = Values::Words;
        word.m_words = words;
    } else if (option.check_lname("preset")) {
        word.m_values = Values::Words;
        word.m_words = presets();
    } else if (option.get_positional()) {
        word.m_values = Values::Files;
        word.m_words = suffixesOf(command);
    } else if (type == "FILE" || type == "NAME") {
        word.m_values = Values::Files;
    } else if (type == "DIR") {
        word.m_values = Values::Folders;
    } else if (option.check_lname("writers")) {
        word.m_values = Values::List;
        word.m_words = WRITERS;
    } else if (option.check_lname("sources")) {
        word.m_values = Values::List;
        word.m_words = SOURCES;
    } else if (option.check_lname("trace")) {
        word.m_values = Values::List;
        word.m_words = traceSets();
    } else if (type == "KIND") {
        word.m_values = Values::Words;
        word.m_words = inputKinds();
    }
}

Word describe(const CLI::Option& option, const std::string& command) {
    Word word;
    for (const std::string& name : option.get_snames()) word.m_names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) word.m_names.push_back("--" + name);
    word.m_description = option.get_description();
    describeValue(option, command, word);
    return word;
}

std::vector<Subcommand> subcommands(const CLI::App& program) {
    std::vector<Subcommand> all;
    for (const CLI::App* command : program.get_subcommands([](const CLI::App*) { return true; })) {
        Subcommand& subcommand = all.emplace_back();
        subcommand.m_name = command->get_name();
        subcommand.m_description = command->get_description();
        for (const CLI::Option* option : command->get_options()) {
            if (option->get_positional())
                subcommand.m_positional = describe(*option, subcommand.m_name);
            else
                subcommand.m_options.push_back(describe(*option, subcommand.m_name));
        }
    }
    return all;
}

std::string programOptions(const CLI::App& program) {
    std::vector<std::string> names;
    for (const CLI::Option* option : program.get_options())
        names.push_back(joined(describe(*option, {}).m_names, " "));
    return joined(names, " ");
}

const char* bashValues(Values values) {
    switch (values) {
        case Values::Words:
            return "_pwrhost_words";
        case Values::List:
            return "_pwrhost_list";
        case Values::Files:
            return "_pwrhost_files";
        case Values::Folders:
            return "_pwrhost_folders";
        case Values::None:
            break;
    }
    return ":";
}

// One case per option that takes a value, then one for what else may follow.
std::string bashCases(const Subcommand& command) {
    std::string text;
    std::vector<std::string> names;
    for (const Word& option : command.m_options) {
        names.push_back(joined(option.m_names, " "));
        if (!option.m_takesValue) continue;
        std::vector<std::string> patterns;
        patterns.reserve(option.m_names.size());
        for (const std::string& name : option.m_names) patterns.push_back(command.m_name + ":" + name);
        text += "        " + joined(patterns, "|") + ") " + bashValues(option.m_values) + " \"" +
                option.m_words + "\" ;;\n";
    }
    return text + "        " + command.m_name + ":*) _pwrhost_other \"" + joined(names, " ") + "\" " +
           bashValues(command.m_positional.m_values) + " \"" + command.m_positional.m_words + "\" ;;\n";
}

// A text between single quotes, for a list of zsh in which colons and brackets have a meaning.
std::string zshQuoted(std::string_view text) {
    std::string quoted;
    for (const char byte : text) {
        if (byte == '\'') quoted += "'\\'";
        if (byte == ':' || byte == '[' || byte == ']' || byte == '\\') quoted += '\\';
        quoted += byte;
    }
    return quoted;
}

std::string barred(std::string words) {
    std::replace(words.begin(), words.end(), ' ', '|');
    return words;
}

std::string zshAction(const Word& word) {
    switch (word.m_values) {
        case Values::Words:
            return "(" + word.m_words + ")";
        case Values::List:
            if (word.m_words == WRITERS) return "_pwrhost_writers";
            return word.m_words == SOURCES ? "_pwrhost_sources" : "_pwrhost_trace_sets";
        case Values::Files:
            return word.m_words.empty() ? "_files" : "_files -g \"*.(" + barred(word.m_words) + ")(-.)\"";
        case Values::Folders:
            return "_files -/";
        case Values::None:
            break;
    }
    return " ";
}

std::string zshOption(const Word& option) {
    std::string text;
    for (const std::string& name : option.m_names) {
        // A long name may have its value after a sign.
        const bool isLong = option.m_takesValue && name.starts_with("--");
        text +=
            " \\\n                '*" + name + (isLong ? "=[" : "[") + zshQuoted(option.m_description) + "]";
        if (option.m_takesValue) text += ":value:" + zshAction(option);
        text += "'";
    }
    return text;
}

std::string zshCase(const Subcommand& command) {
    std::string text = "            " + command.m_name + ")\n                _arguments -s -S";
    for (const Word& option : command.m_options) text += zshOption(option);
    if (command.m_positional.m_values != Values::None)
        text += " \\\n                '*:value:" + zshAction(command.m_positional) + "'";
    return text + "\n                ;;\n";
}

}  // namespace

std::string bashCompletion(const CLI::App& program) {
    std::string names, cases;
    for (const Subcommand& command : subcommands(program)) {
        names += (names.empty() ? "" : " ") + command.m_name;
        cases += bashCases(command);
    }
    return R"(# Completion of pwrhost for bash: source <(pwrhost completion bash)
_pwrhost_words() { COMPREPLY=($(compgen -W "$1" -- "$current")); }
_pwrhost_list() {
    local done=""
    [[ $current == *,* ]] && done=${current%,*},
    COMPREPLY=($(compgen -P "$done" -W "$1" -- "${current##*,}"))
    compopt -o nospace
}
_pwrhost_files() {
    local suffix
    compopt -o filenames
    for suffix in $1; do mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -X "!*.$suffix" -- "$current"); done
    if [[ ${#COMPREPLY[@]} -eq 0 ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    else
        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -d -- "$current")
    fi
}
_pwrhost_folders() { compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- "$current"); }
_pwrhost_other() {
    if [[ $current == -* ]]; then _pwrhost_words "$1"; else "${@:2}"; fi
}
_pwrhost() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command="" word
    if [[ $current == = ]]; then current=""; elif [[ $previous == = ]]; then previous=${COMP_WORDS[COMP_CWORD - 2]}; fi
    for word in "${COMP_WORDS[@]:1:COMP_CWORD - 1}"; do
        case " )" +
           names + R"( " in *" $word "*) command=$word; break ;; esac
    done
    COMPREPLY=()
    case $command:$previous in
)" + cases +
           "        *) _pwrhost_words \"" + names + " " + programOptions(program) + R"(" ;;
    esac
}
complete -F _pwrhost pwrhost
)";
}

std::string zshCompletion(const CLI::App& program) {
    std::string names, cases;
    for (const Subcommand& command : subcommands(program)) {
        names += "\n        '" + command.m_name + ":" + zshQuoted(command.m_description) + "'";
        cases += zshCase(command);
    }
    std::string options;
    for (const CLI::Option* option : program.get_options()) options += zshOption(describe(*option, {}));
    return R"(# Completion of pwrhost for zsh: source <(pwrhost completion zsh)
_pwrhost_writers() { _values -s , writer )" +
           std::string(WRITERS) + R"( }
_pwrhost_sources() { _values -s , source )" +
           SOURCES + R"( }
_pwrhost_trace_sets() { _values -s , set )" +
           traceSets() + R"( }
_pwrhost() {
    local state
    local -a commands=()" +
           names + R"(
    )
    if (( CURRENT == 2 )); then
        _arguments -s)" +
           options + R"( '1: :->command'
        [[ $state == command ]] && _describe command commands
        return
    fi
    local command=$words[2]
    shift words
    (( CURRENT-- ))
    case $command in
)" + cases +
           R"(    esac
}
compdef _pwrhost pwrhost
)";
}

}  // namespace host::cli
