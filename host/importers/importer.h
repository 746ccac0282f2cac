// What every kind of input is turned into a message stream by.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "host/emit/output.h"
#include "host/importers/input.h"

namespace host::importers {

// Where the lines go, and what is to be told about them.
struct ImportTarget {
    // Takes the lines. Once it is not open any more, because a line could not be delivered, nothing is read
    // on.
    emit::Output& lines;

    // Takes a sentence for the user about what has become of the content, such as what was left out.
    std::function<void(const std::string&)> note;

    // Takes a line for the user that names the input itself.
    std::function<void(const std::string&)> tell = [](const std::string&) {};

    // Makes the run one that has failed, though it goes on, as a piece of the content was bad and left out.
    // Takes the sentence that says why; empty if that has been told.
    std::function<void(const std::string&)> fail = [](const std::string&) {};

    // Seconds between samples that do not tell their time.
    double intervalSec = 5;

    // Whether a later part of a run is read without those before it: what only they define is then nameless
    // and no damage.
    bool isPartAlone = false;
};

// What is wrong with an input: at the byte `offset` of its content.
struct Damage {
    std::uint64_t offset = 0;
    std::string what;  // empty: nothing
};

// A part of a run that has been written in several files.
struct PartKey {
    std::string run;                         // the same for all parts of a run
    std::uint64_t place = 0;                 // ascending
    std::uint64_t placeBehind = 0;           // the same among those of one place
    std::uint64_t definitions = UINT64_MAX;  // the same again: which come first of those it adds, none last
};

// Turns one run into lines of a message stream. The parts of the run, mostly one, are read in order.
class Importer {
public:
    virtual ~Importer() = default;

    // Reads a part to its end, or to the point where it is damaged: what stands before that point is
    // delivered. Returns false and fills `damage` in the second case.
    virtual bool read(Input& part, Damage& damage) = 0;

    // To be called after the last part, also when it was damaged.
    virtual void finish() {}
};

}  // namespace host::importers
