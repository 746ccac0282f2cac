// A collector: the load of the machine, five times, for all writers that are named.
//   collector LIBRARY [OUTPUT WRITER...]      without writers: which there are
#include <dlfcn.h>
#include <host/model/checked_writer.h>
#include <host/model/environment.h>
#include <host/model/loggers.h>
#include <host/model/registry.h>
#include <plugins/plugin_list.h>
#include <plugins/writer_plugin.h>
#include <plugins/writer_plugin_capability.h>
#include <pwr/messages.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

using namespace host::model;

// One tick is a microsecond.
std::uint64_t now() {
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(time).count());
}

// What is measured: a metric with one entity, and what is said of it. The registry keeps it all until the
// process ends.
struct Load {
    Metric* metric;
    const Descriptor* descriptor;
};

Load describe(Registry& registry) {
    auto quantity = std::make_unique<Quantity>(1);
    quantity->m_name = "Load";
    quantity->m_units = "tasks";
    quantity->m_title = "Load (tasks)";
    const pwr::Quantity* const load = registry.add(std::move(quantity), false);

    HandleTexts texts("Machine");  // name, header and field name
    auto machine = std::make_unique<Entity>(2, texts, "Machine", HANDLE_PLAIN, nullptr);

    auto metric = std::make_unique<Metric>();
    metric->m_id = 10;  // above that of the system message
    metric->m_name = "Load";
    metric->m_metricType = pwr::Metric::SAMPLED_VALUE;
    metric->m_quantity = load;
    metric->m_entities.push_back(registry.add(std::move(machine)));
    const Descriptor* const average = registry.add(std::make_unique<Descriptor>(3, HandleTexts("Average")));
    return {registry.add(std::move(metric)), average};
}

void openRun(Registry& registry, std::vector<CheckedWriter>& writers) {
    registry.m_metadata = std::make_unique<SystemMetadata>();
    registry.m_metadata->m_tscFrequency = 1;  // MHz: a tick is a microsecond
    registry.m_metadata->m_cpuFrequency = 1;
    registry.m_metadata->m_collectionStart = now();
    auto message = std::make_unique<pwr::SystemMessage>();
    message->m_id = 1;
    message->m_metadata = registry.m_metadata.get();
    const pwr::SystemMessage* const kept = registry.keep(std::move(message));
    for (CheckedWriter& writer : writers) writer.writeMessage(*kept);
}

// Delivers a sample, which lives for the calls.
void sample(const Load& what, SamplePool& pool, std::uint64_t& before, std::vector<CheckedWriter>& writers) {
    double load = 0;
    getloadavg(&load, 1);
    const std::uint64_t time = now();
    pool.begin(time);
    Element& element = pool.append();
    Metric& metric = *what.metric;
    element.m_entity = metric.m_entities.front();
    element.m_descriptor = what.descriptor;
    element.m_duration = time - before;
    element.m_value.setReal(load);
    metric.m_sample = &pool.sample();
    for (CheckedWriter& writer : writers) writer.writeMessage(metric);
    metric.m_sample = nullptr;
    pool.release();
    before = time;
}

int collect(std::vector<CheckedWriter>& writers) {
    Registry& registry = Registry::instance();
    const Load load = describe(registry);
    openRun(registry, writers);
    SamplePool pool;
    std::uint64_t before = registry.m_metadata->m_collectionStart;
    for (int i = 0; i < 5; ++i) {
        usleep(20000);
        sample(load, pool, before, writers);
    }
    registry.m_metadata->m_collectionStop = now();
    int failures = 0;
    for (CheckedWriter& writer : writers) failures += writer.fini() != 0;
    return failures;
}

int main(int argc, char** argv) {
    if (argc < 2) return std::fprintf(stderr, "usage: collector LIBRARY [OUTPUT WRITER...]\n");
    DescriptorLogger log(STDERR_FILENO);
    const Environment environment(log, log);  // before createPlugins, and until after destroyPlugins
    void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror());
    PluginList* const list = reinterpret_cast<PluginList* (*)()>(dlsym(library, "createPlugins"))();
    if (list == nullptr) return std::fprintf(stderr, "no memory for the writers\n");

    std::vector<CheckedWriter> chosen;
    for (int i = 0; i < list->count; ++i) {
        const std::string& name = list->plugins[i]->m_capabilities.front()->m_name;
        if (argc < 4) std::puts(name.c_str());
        CheckedWriter writer(*static_cast<WriterPlugin*>(list->plugins[i]));
        // One that fails to start gets nothing more.
        if (std::find(argv + std::min(argc, 3), argv + argc, name) != argv + argc &&
            writer.init(argv[2], false) == 0)
            chosen.push_back(writer);
    }
    const int failures = chosen.empty() ? 0 : collect(chosen);
    reinterpret_cast<void (*)(PluginList*)>(dlsym(library, "destroyPlugins"))(list);
    return failures;
}
