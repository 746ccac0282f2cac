// What the tests of the summary writers share: a host with logs in memory, and files in the working
// directory.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "host/model/environment.h"
#include "host/model/handles.h"
#include "host/model/loggers.h"
#include "host/model/table.h"

// Keeps the lines of a log.
class LineLogger : public pwr::Logger {
public:
    void log(std::int32_t, const char* text) override { m_lines.emplace_back(text); }
    std::vector<std::string> m_lines;
};

inline std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// Lowers a limit of the process while it lives.
class ScopedLimit {
public:
    ScopedLimit(__rlimit_resource resource, rlim_t value) : m_resource(resource) {
        getrlimit(resource, &m_old);
        const rlimit lowered{value, m_old.rlim_max};
        setrlimit(resource, &lowered);
    }
    ~ScopedLimit() { setrlimit(m_resource, &m_old); }
    ScopedLimit(const ScopedLimit&) = delete;
    ScopedLimit& operator=(const ScopedLimit&) = delete;

private:
    __rlimit_resource m_resource;
    rlimit m_old{};
};

// A folder of its own to work in, while it lives.
class WorkFolder {
public:
    WorkFolder() : m_before(std::filesystem::current_path()) {
        std::string name = (m_before / "summary-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder to work in");
        std::filesystem::current_path(name);
        m_folder = name;
    }
    ~WorkFolder() {
        std::filesystem::current_path(m_before);
        std::filesystem::remove_all(m_folder);
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

private:
    std::filesystem::path m_before;
    std::filesystem::path m_folder;
};

class SummaryFixture : public testing::Test {
protected:
    SummaryFixture() : m_environment(m_errors, m_infos) { signal(SIGXFSZ, SIG_IGN); }

    ~SummaryFixture() override { EXPECT_THAT(tempFiles(), testing::IsEmpty()); }

    static std::vector<std::string> tempFiles() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator("."))
            if (entry.path().extension() == ".tmp") names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

    WorkFolder m_folder;
    LineLogger m_errors;
    LineLogger m_infos;
    host::model::Environment m_environment;
};

// A table without entities: a handle and a cell per column. The same message serves as announcement and row.
class TableFixture {
public:
    TableFixture(std::uint32_t container, std::uint32_t id, const std::string& title,
                 const std::vector<std::string>& columns) {
        host::model::TableColumns table;
        table.m_container = container;
        table.m_id = id;
        table.m_title = title;
        for (const std::string& column : columns) {
            m_handles.push_back(std::make_unique<host::model::Handle>(
                m_handles.size() + 1, host::model::HandleTexts(column), host::model::HANDLE_PLAIN));
            table.m_handles.push_back(m_handles.back().get());
        }
        table.index();
        m_table = std::make_unique<host::model::Table>(std::move(table));
    }

    const pwr::TableMessage& announcement() const { return m_table->m_announcement; }

    const pwr::TableMessage& row(const std::vector<std::string>& cells, int type = pwr::TABLE_ROW) {
        m_table->m_rowMessage.m_type = static_cast<pwr::TableMessageType>(type);
        auto& row = m_table->m_rowMessage.m_row.m_cells;
        row.clear();
        for (const std::string& cell : cells) row.push_back({host::model::Cell::Kind::Text, cell});
        return m_table->m_rowMessage;
    }

private:
    std::vector<std::unique_ptr<host::model::Handle>> m_handles;
    std::unique_ptr<host::model::Table> m_table;
};
