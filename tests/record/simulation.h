// A machine made of files, whose clock runs as fast as the recorder asks.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/record/collector.h"

namespace simulation {

class Folder {
public:
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "recorder_XXXXXX").string();
        m_path = mkdtemp(pattern.data());
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { std::filesystem::remove_all(m_path); }

    std::filesystem::path path() const { return m_path; }

    // Writes into a file that is there, as open descriptors are to see it. An empty text makes reads fail.
    void put(const std::string& name, const std::string& text) const {
        std::filesystem::create_directories((m_path / name).parent_path());
        std::ofstream(m_path / name, std::ios::binary) << text;
    }
    void remove(const std::string& name) const { std::filesystem::remove_all(m_path / name); }

    // Lays a captured tree over what is there; a file REMOVED in it lists what goes.
    void lay(const std::filesystem::path& tree) const {
        namespace fs = std::filesystem;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree)) {
            const fs::path target = m_path / entry.path().lexically_relative(tree);
            fs::create_directories(target.parent_path());
            if (entry.is_symlink() && !fs::is_symlink(target)) fs::copy_symlink(entry.path(), target);
            if (entry.is_symlink() || !entry.is_regular_file()) continue;
            std::ofstream(target, std::ios::binary) << std::ifstream(entry.path()).rdbuf();
        }
        std::ifstream removed(tree / "REMOVED");
        for (std::string name; std::getline(removed, name);) remove(name);
    }

private:
    std::filesystem::path m_path;
};

class Clock : public host::record::Clock {
public:
    static constexpr std::uint64_t START = 5'000'000'000;  // five seconds after the kernel's start

    std::uint64_t ticks() override { return m_ticks; }
    double ticksPerUsec() const override { return 1000.0; }
    std::int64_t wallNanoseconds() override { return 1'714'550'405'000'000'000; }
    bool waitUntil(std::uint64_t ticks) override {
        if (m_signalAt != 0 && m_step + 1 == m_signalAt) return false;
        m_ticks = ticks + m_lateness;
        if (const auto change = m_changes.find(++m_step); change != m_changes.end()) change->second();
        return true;
    }
    std::string interruption() const override { return "SIGTERM"; }
    std::uint64_t takeSuspendedTicks() override { return std::exchange(m_suspended, 0); }
    std::uint64_t cpuUsec() override { return m_cpuUsec += 250; }

    std::uint64_t m_ticks = START;
    std::uint64_t m_lateness = 0;   // of every sample
    std::uint64_t m_suspended = 0;  // ticks that the machine slept since the last sample
    std::uint64_t m_cpuUsec = 0;    // of the recorder, 250 for each sample
    int m_step = 0;
    int m_signalAt = 0;                              // the sample that a signal prevents
    std::map<int, std::function<void()>> m_changes;  // what happens to the machine before a sample, from 1
};

// A run on the files of `m_root`.
struct Recording {
    Folder m_root;
    Clock m_clock;
    host::record::RecordOptions m_options;
    std::vector<std::string> m_lines;     // the stream
    std::vector<std::string> m_reported;  // to the user
    std::size_t m_refuseAt = 0;           // the line that the sink does not want, from 1

    Recording() {
        m_options.seconds = 0.3;
        m_options.command = {"pwrhost", "record"};
    }

    // Without what the recorder reports itself.
    void leaveOutOwn(const std::string& metric = "Late Samples") {
        m_options.selection.setMetrics({}, {metric, "Recorder CPU Time"});
    }

    // A change before that sample, counted from 1.
    void at(int sample, std::function<void()> change) { m_clock.m_changes[sample] = std::move(change); }

    host::record::RecordResult record() {
        const host::record::Root root(m_root.path().string());
        const auto sink = [this](std::string_view line) {
            m_lines.emplace_back(line);
            return m_lines.size() != m_refuseAt;
        };
        const auto warn = [this](const std::string& text) { m_reported.push_back(text); };
        return host::record::Collector(m_options, root, m_clock, sink, warn).run();
    }

    // The elements of a metric, one text each: time in msec since the start, entity, descriptor, duration in
    // msec, value; what is told of a descriptor's attributes after it.
    std::vector<std::string> elements(const std::string& metric) const;

    // The cells of the summary table of this title, one text for each row.
    std::vector<std::string> rows(const std::string& title) const;
};

}  // namespace simulation
