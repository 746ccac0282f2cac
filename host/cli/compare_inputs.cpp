#include "host/cli/compare_inputs.h"

#include <cstdint>
#include <memory>
#include <string_view>

#include "host/compare/stream_run.h"
#include "host/emit/output.h"
#include "host/importers/input.h"
#include "host/importers/input_kinds.h"

namespace host::cli {

namespace {

// A recording, by the message stream that it becomes.
bool importRun(const importers::InputKind& kind, importers::Input& input, const compare::Argument& argument,
               compare::Group& group, std::string& error) {
    compare::StreamRun run(argument);
    std::uint64_t number = 0;
    emit::Output output([&](std::string_view line) { return run.line(line, ++number); });
    // Notes are about what a format cannot give back; nothing of that is compared.
    const auto importer = kind.make({output, [](const std::string&) {}});
    importers::Damage damage;
    const bool isGood = importer->read(input, damage);
    if (output.isOpen()) importer->finish();
    if (output.isOpen() && !input.content().error().empty())
        error = "cannot read " + argument.m_path + ": " + input.content().error();
    else if (output.isOpen() && !isGood)
        error = argument.m_path + ": offset " + std::to_string(damage.offset) + ": " + damage.what;
    else if (output.isOpen() && run.finish(group))
        return true;
    else
        error = run.error();
    return false;
}

}  // namespace

bool readCompared(const compare::Argument& argument, compare::Group& group, std::string& error) {
    const auto input = importers::Input::open(argument.m_path, nullptr, error);
    if (input == nullptr) return false;
    const importers::InputKind* const kind = importers::recogniseKind(input->content());
    if (kind == nullptr || kind->make == nullptr)
        return compare::readContent(input->content(), argument, group, error);
    return importRun(*kind, *input, argument, group, error);
}

}  // namespace host::cli
