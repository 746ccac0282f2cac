// Kernel events as a source of the recorder.
#pragma once

#include <cstdint>
#include <functional>

#include "host/record/source.h"
#include "host/record/trace/trace_sets.h"

namespace host::record {

// `now` reads the clock of the recording. All that is referred to outlives the source.
SourcePtr makeTraceSource(SourceContext& context, const TraceOptions& options,
                          std::function<std::uint64_t()> now);

}  // namespace host::record
