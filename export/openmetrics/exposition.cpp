#include "export/openmetrics/exposition.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <set>
#include <string_view>

#include "export/number_text.h"
#include "export/openmetrics/names.h"
#include "plugins/log.h"

namespace exporting::openmetrics {

namespace {

constexpr std::string_view OWN_LABELS[] = {"host", "run", "group", "entity", "item", "state", "bound", "id"};

bool isUsable(const std::string& name) {
    const auto* const own = std::find(std::begin(OWN_LABELS), std::end(OWN_LABELS), name);
    return isLabelName(name) && own == std::end(OWN_LABELS);
}

// A label without a value says the same as none.
void appendLabel(std::string_view name, std::string_view value, std::string& out) {
    if (value.empty()) return;
    out += name;
    out += "=\"";
    appendEscaped(value, out);
    out += "\",";
}

std::string_view boundOf(const Series& series) {
    return series.part == Part::Low ? "low" : series.part == Part::High ? "high" : "";
}

std::string itemIdOf(const Series& series) {
    return std::to_string(series.item != nullptr ? series.item->getId() : 0);
}

std::string allIdsOf(const Series& series) {
    return std::to_string(series.metric->m_id) + "/" + std::to_string(series.entity->getId()) + "/" +
           itemIdOf(series);
}

// What may tell series with the same labels from each other, the shortest that does it first.
const std::function<std::string(const Series&)> IDS[] = {
    [](const Series& series) { return std::to_string(series.metric->m_id); },
    [](const Series& series) { return std::to_string(series.entity->getId()); },
    itemIdOf,
    allIdsOf,
    // A residency's seconds, and those in a state whose name is empty.
    [](const Series& series) { return allIdsOf(series) + (series.part == Part::State ? "/state" : ""); },
};

// The ids of series that have the same labels.
std::vector<std::string> idsOf(const std::vector<const Series*>& equal) {
    std::vector<std::string> ids(equal.size());
    for (const auto& id : IDS) {
        std::transform(equal.begin(), equal.end(), ids.begin(),
                       [&](const Series* series) { return id(*series); });
        if (std::set<std::string_view>(ids.begin(), ids.end()).size() == ids.size()) break;
    }
    return ids;
}

void appendValue(double value, std::string& out) {
    if (std::isinf(value) && value > 0) out += '+';
    out += NumberText(value).view();
}

void appendStamp(std::int64_t milliseconds, std::string& out) {
    char text[32];
    const int length =
        std::snprintf(text, sizeof text, "%lld.%03lld", static_cast<long long>(milliseconds / 1000),
                      static_cast<long long>(milliseconds % 1000));
    out.append(text, static_cast<std::size_t>(length));
}

void appendFact(std::string_view word, const std::string& family, std::string_view fact, std::string& out) {
    out += "# ";
    out += word;
    out += ' ';
    out += family;
    out += ' ';
    out += fact;
    out += '\n';
}

bool hasPoints(const Series& series) {
    return !series.points.blocks.empty() || !series.points.last.empty();
}

}  // namespace

Exposition::Exposition(const std::string& host, const std::string& run, const std::vector<Label>& labels) {
    appendLabel("host", host, m_first);
    appendLabel("run", run, m_first);
    for (const auto& [name, value] : labels) {
        if (isUsable(name)) {
            appendLabel(name, value, m_last);
        } else {
            LOG_NOTE(
                "openmetrics: the label \"%s\" is left out, as the format has it itself or allows no such "
                "name\n",
                name.c_str());
        }
    }
}

bool Exposition::print(Samples& samples, ResultFile& file) {
    bool isComplete = true;
    for (std::size_t i = 0; i < samples.families().size(); ++i)
        isComplete = printFamily_i(samples.families().at(i), samples, file) && isComplete;
    file.append("# EOF\n");
    file.endRecord();
    return isComplete;
}

bool Exposition::printFamily_i(const Family& family, Samples& samples, ResultFile& file) {
    const auto isShown = [&](std::size_t number) { return hasPoints(samples.series(number)); };
    if (std::none_of(family.series.begin(), family.series.end(), isShown)) return true;
    m_line.clear();
    appendFact("TYPE", family.name, family.type == FamilyType::Counter ? "counter" : "gauge", m_line);
    if (!family.unit.empty()) appendFact("UNIT", family.name, family.unit, m_line);
    std::string help;
    appendEscaped(family.help, help);
    appendFact("HELP", family.name, help, m_line);
    file.append(m_line);
    file.endRecord();

    bool isComplete = true;
    const std::vector<std::string> labels = labelsOf_i(family, samples);
    for (std::size_t i = 0; i < labels.size(); ++i) {
        const std::string head = family.sampleName + labels[i];
        isComplete =
            printSeries_i(head, samples.series(family.series[i]), samples.spool(), file) && isComplete;
    }
    return isComplete;
}

bool Exposition::printSeries_i(const std::string& head, const Series& series, PointSpool& spool,
                               ResultFile& file) {
    return spool.read(series.points, [&](const std::vector<Point>& points) {
        for (const Point& point : points) {
            m_line = head;
            appendValue(point.value, m_line);
            m_line += ' ';
            appendStamp(point.stamp, m_line);
            m_line += '\n';
            file.append(m_line);
            file.endRecord();
        }
    });
}

// The labels of all series of the family, in braces and with a blank after. Those of no two are the same.
std::vector<std::string> Exposition::labelsOf_i(const Family& family, const Samples& samples) const {
    std::vector<std::string> labels;
    std::map<std::string_view, std::vector<std::size_t>> places;
    labels.reserve(family.series.size());
    for (const std::size_t number : family.series) {
        labels.push_back(labelsOf_i(samples.series(number), samples));
        places[labels.back()].push_back(labels.size() - 1);
    }
    std::vector<std::string> ids(labels.size());
    for (const auto& [text, equal] : places) {
        if (equal.size() == 1) continue;
        std::vector<const Series*> series;
        series.reserve(equal.size());
        for (const std::size_t place : equal) series.push_back(&samples.series(family.series[place]));
        const std::vector<std::string> found = idsOf(series);
        for (std::size_t i = 0; i < equal.size(); ++i) appendLabel("id", found[i], ids[equal[i]]);
    }
    places.clear();
    for (std::size_t i = 0; i < labels.size(); ++i) {
        std::string all = m_first + labels[i] + ids[i] + m_last;
        if (!all.empty()) all.back() = '}';
        labels[i] = all.empty() ? " " : "{" + all + " ";
    }
    return labels;
}

std::string Exposition::labelsOf_i(const Series& series, const Samples& samples) const {
    std::string labels;
    appendLabel("group", series.metric->m_groupName, labels);
    appendLabel("entity", series.entity->getQualifiedName(), labels);
    if (series.item != nullptr) appendLabel("item", series.item->getName(), labels);
    appendLabel("state", samples.stateOf(series), labels);
    appendLabel("bound", boundOf(series), labels);
    return labels;
}

}  // namespace exporting::openmetrics
