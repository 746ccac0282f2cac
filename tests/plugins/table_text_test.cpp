// Titles and cells of table messages, as several writers print them.
#include <gtest/gtest.h>

#include <deque>

#include "host/model/handles.h"
#include "host/model/quantity.h"
#include "host/model/table.h"
#include "plugins/writer_plugin.h"

namespace {

using host::model::AttributeEntity;
using host::model::Cell;
using host::model::Entity;
using host::model::Handle;
using host::model::HandleTexts;
using Texts = std::deque<std::string>;

class PlainWriter : public WriterPlugin {
public:
    PlainWriter() : WriterPlugin("plain") {}
    std::int32_t init(const std::string&, bool) override { return 0; }
    std::int32_t fini() override { return 0; }

    Texts titles(const pwr::TableMessage& message) const {
        Texts result{"kept"};
        getColumnTitles(message, result);
        return result;
    }
    Texts values(const pwr::TableMessage& message) const {
        Texts result{"kept"};
        getRowValues(message, result);
        return result;
    }
};

class TableText : public testing::Test {
protected:
    TableText() {
        m_watts.m_kind = static_cast<pwr::QuantityType>(4);
        m_watts.m_units = "W";
        m_unitless.m_units = "unused";
    }

    static Cell text(const char* content) { return {Cell::Kind::Text, content}; }
    static Cell absent() { return {Cell::Kind::Absent, ""}; }

    host::model::TableSnapshot row(std::vector<Cell> shared, std::vector<Cell> cells) {
        m_columns.index();
        host::model::TableSnapshot snapshot(m_columns, pwr::TABLE_ROW);
        for (const Cell& cell : shared) snapshot.m_row.m_shared.push_back(cell);
        for (const Cell& cell : cells) snapshot.m_row.m_cells.push_back(cell);
        for (std::size_t i = 1; i <= m_columns.m_entities.size(); ++i)
            snapshot.m_row.m_ends.push_back(i * m_columns.m_handles.size());
        return snapshot;
    }

    host::model::Quantity m_watts{1};
    host::model::Quantity m_unitless{2};
    Handle m_shared{1, HandleTexts("Shared"), 1};
    Handle m_first{2, HandleTexts("First"), 1};
    Handle m_second{3, HandleTexts("Second"), 1};
    Entity m_core{10, HandleTexts("Core"), "P/Core", 1, nullptr};
    Entity m_bare{11, HandleTexts("Bare"), "Bare", 0, nullptr};
    AttributeEntity m_power{12, HandleTexts("Power"), "Power", 0, nullptr, &m_watts};
    AttributeEntity m_ratio{13, HandleTexts("Ratio"), "Ratio", 0, nullptr, &m_unitless};
    AttributeEntity m_typed{14, HandleTexts("Typed"), "Typed", 1, nullptr, &m_watts};
    host::model::TableColumns m_columns;
    PlainWriter m_writer;
};

}  // namespace

TEST_F(TableText, WithoutEntities) {
    m_columns.m_shared = {&m_shared, nullptr};
    m_columns.m_handles = {&m_first, &m_second};
    const auto message = row({text("s"), text("unseen")}, {Cell{}, absent()});
    EXPECT_EQ(m_writer.titles(message), (Texts{"kept", "Shared", "", "First", "Second"}));
    // A null handle and a failed look-up read "Invalid", a cell without a value is empty.
    EXPECT_EQ(m_writer.values(message), (Texts{"kept", "s", "Invalid", "", "Invalid"}));
}

TEST_F(TableText, OneHandleNamesColumnsAfterEntities) {
    m_columns.m_handles = {&m_first};
    m_columns.m_entities = {&m_core, &m_bare, &m_power, &m_ratio, &m_typed};
    const auto message = row({}, {text("1"), Cell{}, absent(), text("4"), text("5")});
    // Units only after a handle of type 0 that is an attribute whose quantity has a kind.
    EXPECT_EQ(m_writer.titles(message), (Texts{"kept", "Core", "Bare", "PowerW", "Ratio", "Typed"}));
    EXPECT_EQ(m_writer.values(message), (Texts{"kept", "1", "", "Invalid", "4", "5"}));
}

TEST_F(TableText, SeveralHandlesNameColumnsAfterHandles) {
    m_columns.m_shared = {&m_shared};
    m_columns.m_handles = {&m_first, &m_second};
    m_columns.m_entities = {&m_core, &m_power};
    const auto message = row({text("s")}, {text("1"), text("2"), text("3"), text("4")});
    EXPECT_EQ(m_writer.titles(message), (Texts{"kept", "Shared", "First", "Second", "FirstW", "SecondW"}));
    EXPECT_EQ(m_writer.values(message), (Texts{"kept", "s", "1", "2", "3", "4"}));
}

TEST_F(TableText, NullPointers) {
    m_columns.m_handles = {&m_first};
    const auto message = row({}, {text("1")});
    EXPECT_EQ(m_writer.getFieldNameFromHandle(message, nullptr, nullptr), "");
    EXPECT_EQ(m_writer.getFieldNameFromHandle(message, nullptr, &m_second), "Second");
    EXPECT_EQ(m_writer.getFieldValueFromHandle(message, nullptr, nullptr), "Invalid");
    // An entity that the table lacks falls back on the handle alone.
    EXPECT_EQ(m_writer.getFieldValueFromHandle(message, &m_core, &m_first), "1");
}
