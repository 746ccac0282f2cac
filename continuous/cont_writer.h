// The collector's files.
#pragma once

#include "continuous/continuous_writer.h"
#include "plugins/json_text.h"

// Writes what has gathered into one numbered JSON file per flush, "<name>_<number>.ztjson", through the
// host's file handles. The numbers count the flushes of the process, from 0.
class ContWriter : public ContinuousWriter {
public:
    using ContinuousWriter::ContinuousWriter;
    ~ContWriter() override;

    // Returns true; what becomes of the file's bytes is the host's matter. `metadata` is read as it stands.
    // When memory runs out: an error line and false, and everything waits for the next flush.
    bool flushContinuousResults(const pwr::SystemMetadata& metadata) override;

private:
    void flush_i(const pwr::SystemMetadata& metadata);
    void writeDocument_i(JsonTextWriter& writer) const;
    void writeRecords_i(JsonTextWriter& writer) const;

    // Writes the members of `node` into the object that is open; nothing for null.
    static void flushMetadata_i(const ContinuousWriter::Metadata* node, JsonTextWriter& writer);
};

// The one collector of the process: made by the first writer that is put into continuous mode, and never
// deleted. Null before.
extern ContWriter* g_contWriter;
