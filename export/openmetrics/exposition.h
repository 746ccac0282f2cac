#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "export/labels.h"
#include "export/openmetrics/samples.h"
#include "export/result_file.h"

namespace exporting::openmetrics {

// Prints the series of a run as the text of the format.
class Exposition {
public:
    // `labels` stand in every series: host and run, then those of the user. Those of the user that the format
    // has itself, or whose names cannot be, are left out with a note.
    Exposition(const std::string& host, const std::string& run, const std::vector<Label>& labels);

    // Prints all points that `samples` has now, after Samples::finish. Returns false if the temporary file
    // failed; the file then ends in the ordinary way, without the points that it failed for.
    bool print(Samples& samples, ResultFile& file);

private:
    bool printFamily_i(const Family& family, Samples& samples, ResultFile& file);
    bool printSeries_i(const std::string& head, const Series& series, PointSpool& spool, ResultFile& file);
    std::vector<std::string> labelsOf_i(const Family& family, const Samples& samples) const;
    std::string labelsOf_i(const Series& series, const Samples& samples) const;

    std::string m_first;  // the labels host and run, with a comma after each
    std::string m_last;   // those of the user
    std::string m_line;
};

}  // namespace exporting::openmetrics
