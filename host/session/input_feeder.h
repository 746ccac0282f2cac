#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "host/base/byte_source.h"
#include "host/base/stop_signal.h"
#include "host/stream/line_source.h"
#include "host/stream/stream_reader.h"

namespace host::session {

// Feeds the lines of a run's inputs to the reader of its stream and says what is wrong with them, as
// "NAME:LINE: what is wrong" on standard error. After a bad line nothing more is wanted, unless the user
// has asked to skip such lines.
class InputFeeder {
public:
    // Called often, with the bytes and lines that have been read of all inputs so far.
    using Watcher = std::function<void(std::uint64_t bytes, std::uint64_t lines)>;

    // `reader` and `stop` must outlive this object. `isForgiving`: bad lines are skipped.
    InputFeeder(stream::StreamReader& reader, const base::StopSignal& stop, bool isForgiving);

    void setWatcher(Watcher watcher) { m_watcher = std::move(watcher); }

    // Called with every good line.
    using Keeper = std::function<void(std::string_view line)>;
    void setKeeper(Keeper keeper) { m_keeper = std::move(keeper); }

    // Feeds all lines that `bytes` deliver; `doubt` is added to what is said of the first bad one. Returns
    // true if more is wanted: false after a bad line that is not skipped, and once the run has been asked to
    // stop.
    bool feedStream(const std::string& name, base::ByteSource& bytes, const std::string& doubt = {});

    // Feeds a line that was made out of an input, of which `bytes` have been read; lines are numbered from 1.
    // False if it was bad, which lineError() describes and which is never skipped.
    bool feedMade(std::string_view line, std::uint64_t bytes);
    const std::string& lineError() const { return m_reader.error(); }

    // Notes that an input could not be read, which has been reported: nothing more is wanted.
    void fail() { m_isGood = false; }

    // True if every line was good and every input could be read.
    bool isGood() const { return m_isGood; }

    std::uint64_t bytes() const { return m_bytes; }
    std::uint64_t lines() const { return m_lines; }

private:
    bool judge_i(const std::string& name, std::uint64_t number, bool isGoodLine);
    bool readLines_i(const std::string& name, stream::LineSource& source);

    stream::StreamReader& m_reader;
    const base::StopSignal& m_stop;
    const bool m_isForgiving;
    Watcher m_watcher;
    bool m_isGood = true;
    Keeper m_keeper;
    std::string m_doubt;
    std::string m_kept;  // the line that is being read, for the keeper
    std::uint64_t m_bytes = 0;
    std::uint64_t m_lines = 0;
};

}  // namespace host::session
