// Where the lines of a recording go in the process that delivers them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/emit/line_sink.h"
#include "host/emit/save_file.h"
#include "host/record/part.h"
#include "host/record/record.h"

namespace host::record {

// To the reader, and to the file that keeps the stream if the user wants one. A failure of the latter does
// not cost the former.
class LocalOutput {
public:
    // An empty `save` is no file.
    LocalOutput(const std::string& save, emit::LineSink sink, Warn warn);

    // False if the file can't be made, which has been reported.
    bool open() const { return !m_save || m_save->isGood(); }

    // False when no more is wanted.
    bool line(std::string_view line);

    // Completes the file. `isWhole`: nothing was lost on the way here.
    RecordResult finish(bool isWhole);

private:
    std::optional<emit::SaveFile> m_save;
    emit::LineSink m_sink;
    Warn m_warn;
    bool m_refused = false;
    bool m_failed = false;
};

}  // namespace host::record
