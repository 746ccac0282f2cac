// Binary result files as text.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace host::inspect {

// Decodes .ztbin and .pwr files, distinguished by their content and, where that says nothing, by their
// extension; "-" is standard input. Prints each record as one JSON object on a line of `out` or, if `check`
// is set, a line "FILE: sound" for each file that is. Reports damage on `err` as "FILE: offset N: what is
// wrong". The .ztbin files of a continuous run are taken in the order of their numbers: what one defines
// holds in those after it.
//
// Returns 0 if all files could be read and none is damaged, else 1.
int show(const std::vector<std::string>& files, bool check, std::ostream& out, std::ostream& err);

}  // namespace host::inspect
