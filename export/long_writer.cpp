#include "export/long_writer.h"

#include "plugins/writer_plugin_capability.h"

namespace exporting {

LongWriter::LongWriter() : RunWriter("f7c72212-3e7d-4524-9e97-3e896038cf42") {
    addCapability(new pwr::WriterPluginCapability(
        {pwr::TABLE_CLASS_SUMMARY}, LongRun::NAME,
        "Write a CSV row for each value, for databases and statistics, and one for each cell of the summary",
        "_long.csv", true));
}

std::int32_t LongWriter::writeMessage(const pwr::TableMessage& message) {
    return message.getTableMessageType() == pwr::TABLE_ROW ? hand(message) : 0;
}

}  // namespace exporting
