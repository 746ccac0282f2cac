#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "plugins/plugin.h"

namespace pwr {
class DataHandle;
class EntityHandle;
class IdMessage;
class Metric;
class MetricContainerInfoMessage;
class SystemMessage;
class TableMessage;
class TextMessage;
}  // namespace pwr

// The base of the writers: plug-ins that turn one stream of messages into one kind of result file.
//
// A run: init, one SystemMessage, the data in any mix, fini. Statuses are 0 for success and 1 for failure;
// after a failed message the host can go on. fini may also give STATUS_REFUSED. Everything that a message
// points to belongs to the host and must stay valid until fini has returned, except a metric's sample, which
// lives for the call. A writer is called from one thread at a time.
class WriterPlugin : public Plugin {
public:
    // Nothing can be made of the run in this format, for a reason that the user has been told.
    static constexpr std::int32_t STATUS_REFUSED = 2;

    using Plugin::Plugin;
    ~WriterPlugin() override;

    // Registers the writer's one capability and takes it over. A second one is refused with a warning and
    // stays the caller's.
    void addCapability(pwr::PluginCapability* capability) override;

    // Starts a run. `outputName` is the path of the result without its extension; `continuous` is true when
    // results are to be delivered while the collection is running.
    virtual std::int32_t init(const std::string& outputName, bool continuous) = 0;

    // Ends a run and completes the result files.
    virtual std::int32_t fini() = 0;

    // Delivers the results so far. Returns false if the writer cannot.
    virtual bool flushContinuousResults(const pwr::SystemMetadata& metadata);

    virtual std::int32_t writeMessage(const pwr::TableMessage& message);
    virtual std::int32_t writeMessage(const pwr::TextMessage& message);
    virtual std::int32_t writeMessage(const pwr::SystemMessage& message);
    virtual std::int32_t writeMessage(const pwr::IdMessage& message);
    virtual std::int32_t writeMessage(const pwr::Metric& metric);
    virtual std::int32_t writeMessage(const pwr::MetricContainerInfoMessage& message);

    // Appends the titles of the table's columns: the shared handles' first, then the handles', or each
    // entity's fields in turn.
    virtual void getColumnTitles(const pwr::TableMessage& message, std::deque<std::string>& titles) const;

    // Appends the cells of the row that the message holds, in the order of the titles. A cell without a value
    // is empty; one that could not be looked up reads "Invalid".
    virtual void getRowValues(const pwr::TableMessage& message, std::deque<std::string>& values) const;

    // The title of an entity's field: the entity's name in a table with one handle, else the handle's, with
    // the units of an entity that is an attribute. Both pointers may be null.
    std::string getFieldNameFromHandle(const pwr::TableMessage& message, const pwr::EntityHandle* entity,
                                       const pwr::DataHandle* handle) const;

    // The cell of an entity's field. Both pointers may be null.
    std::string getFieldValueFromHandle(const pwr::TableMessage& message, const pwr::EntityHandle* entity,
                                        const pwr::DataHandle* handle) const;
};
