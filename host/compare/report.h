// Reports of a comparison, and of the noise of one group, each in five formats.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/compare/comparison.h"
#include "host/compare/noise.h"

namespace host::compare {

enum class Format : std::uint8_t { Text, Csv, Json, Markdown, Html };

// "text", "csv", ...; nothing for another name.
std::optional<Format> formatOf(std::string_view name);

constexpr std::size_t DEFAULT_TOP = 20;

// Writes a comparison. Csv and json hold all columns in the table's order. The others are for people and hold
// what differs, strongest first: at most `top` columns, by default DEFAULT_TOP, and all in html. All texts
// from the input are inert in html and markdown, and without control characters.
void writeReport(Format format, const RunTable& table, const Comparison& comparison,
                 std::optional<std::size_t> top, std::ostream& out);

// Writes the noise of the columns of one group, the same way.
void writeNoiseReport(Format format, const RunTable& table, double alpha,
                      const std::vector<ColumnNoise>& columns, std::optional<std::size_t> top,
                      std::ostream& out);

// "NAME +20.1 % [...]", for messages about single columns.
std::string describeChange(const RunTable& table, const Comparison& comparison, std::size_t place);

}  // namespace host::compare
