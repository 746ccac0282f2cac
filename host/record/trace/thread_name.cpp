#include "host/record/trace/thread_name.h"

#include "host/base/text.h"
#include "host/base/transfer.h"

namespace host::record {

std::string threadName(std::int64_t tid) {
    const std::string name = base::fileText("/proc/" + std::to_string(tid) + "/comm");
    return name.empty() ? "<...>" : std::string(base::trimmed(name));
}

}  // namespace host::record
