#pragma once

#include "import/handle_attributes.h"
#include "import/sample_builder.h"
#include "import/values.h"
#include "import/wakelock.h"

class VyrtaWriter;

namespace vyrta {

// What samples and wakelocks refer to, by way of the writer's operations.
class VyrtaDefinitions final : public ValueDefinitions,
                               public HandleDefinitions,
                               public SampleDefinitions,
                               public WakelockDefinitions {
public:
    explicit VyrtaDefinitions(VyrtaWriter& writer) : m_writer(writer) {}

    int defineQuantity(const pwr::Quantity& quantity, long& id) override;
    int defineText(const std::string& text, std::uint64_t& id) override;
    int defineProcess(const pwr::Process& process) override;
    int defineThread(const pwr::Thread& thread) override;
    int definePair(const pwr::Attribute& attribute, const pwr::NameValuePair& pair) override;
    int definePackage(const Wakelock& wakelock, const std::string& name) override;
    int advance(const pwr::Metric& metric, const pwr::EntityHandle& entity, std::uint64_t tsc,
                std::uint64_t*& latest) override;
    int defineEntity(const pwr::EntityHandle& entity) override;
    int defineState(const std::string& name, std::uint64_t& id, bool& isWritten) override;
    int defineColor(const std::string& state, std::uint64_t& id) override;

private:
    VyrtaWriter& m_writer;
};

// A fresh id: that of an attribute that nothing else uses. `name` says to the host what it is for.
unsigned long drawId(const char* name);

}  // namespace vyrta
