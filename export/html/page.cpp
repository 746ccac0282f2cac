#include "export/html/page.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <functional>
#include <map>
#include <string_view>

#include "export/html/block.h"
#include "export/html/lane_block.h"
#include "export/html/markup.h"
#include "export/html/page_sources.h"
#include "export/run_clock.h"
#include "plugins/value_text.h"

namespace exporting {

namespace {

constexpr std::string_view NOT_OFFERED = "Not offered by this machine: ";

// A time of day in UTC with milliseconds.
std::string startText(std::int64_t nanosecondsSince1970) {
    const std::string text = rfc3339(nanosecondsSince1970);
    const std::size_t point = text.find('.');
    const std::size_t day = text.find('T');
    return text.substr(0, day) + " " + text.substr(day + 1, point - day + 3) + " UTC";
}

// Four digits, which is as much as a reader takes in.
std::string roundedText(double number) {
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, number, std::chars_format::general, 4).ptr;
    return std::string(text, end);
}

std::string secondsText(double seconds) {
    return seconds < 1 ? roundedText(seconds * 1000) + " ms" : roundedText(seconds) + " s";
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
    return text;
}

std::string processorText(const pwr::SystemMetadata& system) {
    std::string text = system.getCPUNativeModelName(system.m_cpu.model);
    if (text.empty()) text = system.getFormattedCPUCodeName();
    const std::size_t threads = system.m_topology.getNumThreads();
    if (threads != 0) text += (text.empty() ? "" : ", ") + std::to_string(threads) + " CPUs";
    return text;
}

// The shortest mean step between the messages of a sampled metric, in seconds; 0 if there is none.
double intervalOf(const std::deque<Lane>& lanes) {
    double least = 0;
    for (const Lane& lane : lanes) {
        if (!lane.isSampled() || lane.m_messages < 2) continue;
        const double step = (static_cast<double>(lane.m_lastTime) - static_cast<double>(lane.m_firstTime)) /
                            static_cast<double>(lane.m_messages - 1) / lane.m_measure.ticksPerSecond;
        if (step > 0 && (least == 0 || step < least)) least = step;
    }
    return least;
}

void appendHeadLine(ResultFile& page, std::string_view title, std::string_view text) {
    if (text.empty()) return;
    page.append("<div><dt>");
    appendEscaped(page, title);
    page.append("</dt><dd>");
    appendEscaped(page, text);
    page.append("</dd></div>\n");
}

void appendHead(ResultFile& page, const PageContent& content) {
    const pwr::SystemMetadata& system = content.system;
    const std::string host = system.m_hostName;
    const std::string& platform = system.m_platformName;
    appendHeadLine(page, "Machine", host + (host.empty() || platform.empty() ? "" : ", ") + platform);
    appendHeadLine(page, "CPU", processorText(system));
    appendHeadLine(page, "System", system.m_osName);
    appendHeadLine(page, "Kernel", joined({system.m_osVersion, system.m_osType}));
    if (const auto start = RunClock(system).wallStart()) appendHeadLine(page, "Start", startText(*start));
    const double duration = system.getCollectionDurationSec();
    if (duration > 0) appendHeadLine(page, "Duration", secondsText(duration));
    if (const double interval = intervalOf(content.lanes); interval > 0)
        appendHeadLine(page, "Interval", secondsText(interval));
    appendHeadLine(page, "Command", joined(system.m_commandLine));
    for (const std::string& note : content.notes)
        if (note.starts_with(NOT_OFFERED))
            appendHeadLine(page, "Not offered", std::string_view(note).substr(NOT_OFFERED.size()));
}

// Whether a note reports losses: it says so, with a number above 0.
bool isLoss(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    const bool saysSo = text.find("lost") != std::string::npos || text.find("refused") != std::string::npos;
    return saysSo && text.find_first_of("123456789") != std::string::npos;
}

void appendLosses(ResultFile& page, const PageContent& content) {
    std::vector<std::string> losses;
    if (content.refused != 0)
        losses.push_back(std::to_string(content.refused) +
                         " samples refused: the run does not say how fast its clock ticks");
    if (const double lost = content.tables.numberOf("Trace Summary: Total", "Lost"); lost > 0)
        losses.push_back(std::to_string(std::llround(lost)) + " events of the kernel lost");
    std::copy_if(content.notes.begin(), content.notes.end(), std::back_inserter(losses), isLoss);
    if (losses.empty()) return;
    page.append("<div id=\"losses\" class=\"losses\">");
    for (const std::string& loss : losses) {
        page.append("<p>");
        appendEscaped(page, loss);
        page.append("</p>");
    }
    page.append("</div>\n");
}

void appendNotes(ResultFile& page, const std::vector<std::string>& notes) {
    for (const std::string& note : notes) {
        if (note.starts_with(NOT_OFFERED) || isLoss(note)) continue;
        page.append("<p class=\"note\">");
        appendEscaped(page, note);
        page.append("</p>\n");
    }
}

template <typename List, typename Append>
void appendList(ResultFile& page, const List& list, Append append) {
    page.append('[');
    bool isFirst = true;
    for (const auto& item : list) {
        if (!isFirst) page.append(',');
        isFirst = false;
        append(item);
    }
    page.append(']');
}

void appendMember(ResultFile& page, std::string_view name, std::string_view text) {
    appendJsonText(page, name);
    page.append(':');
    appendJsonText(page, text);
    page.append(',');
}

void appendLane(ResultFile& page, const Lane& lane) {
    page.append("{");
    appendMember(page, "group", lane.m_group);
    appendMember(page, "metric", lane.m_name);
    appendMember(page, "type", getTypeString(lane.m_measure.type));
    appendMember(page, "units", lane.m_units);
    if (lane.m_hasRate) {
        appendMember(page, "rateUnits", lane.m_rateUnits);
        page.append("\"factor\":");
        appendJsonNumber(page, lane.m_measure.factor);
        page.append(',');
    }
    page.append("\"entities\":");
    appendList(page, lane.m_entities,
               [&](const pwr::EntityHandle* entity) { appendJsonText(page, entity->getName()); });
    page.append(",\"states\":");
    appendList(page, lane.m_states, [&](const std::string& state) { appendJsonText(page, state); });
    page.append(",\"series\":");
    appendList(page, lane.m_series, [&](const std::unique_ptr<Series>& series) {
        page.append("[" + std::to_string(series->entity()) + "," + std::to_string(series->state()) + "," +
                    std::to_string(series->points()) + "]");
    });
    page.append('}');
}

void appendRun(ResultFile& page, const PageContent& content) {
    const pwr::SystemMetadata& system = content.system;
    const auto length =
        static_cast<double>(static_cast<std::int64_t>(system.m_collectionStop - system.m_collectionStart));
    page.append("{\"ticksPerSecond\":");
    appendJsonNumber(page, RunClock(system).ticksPerSecond());
    page.append(",\"length\":");
    appendJsonNumber(page, std::max(length, 0.0));
    std::int64_t first = content.lanes.empty() ? 0 : content.lanes.front().m_firstTime;
    std::int64_t last = first;
    for (const Lane& lane : content.lanes) {
        first = std::min(first, lane.m_firstTime);
        last = std::max(last, lane.m_lastTime);
    }
    page.append(",\"first\":");
    appendJsonNumber(page, static_cast<double>(first));
    page.append(",\"last\":");
    appendJsonNumber(page, static_cast<double>(last));
    page.append(",\"grid\":");
    appendJsonNumber(page, content.isReduced ? std::ldexp(1.0, static_cast<int>(content.shift)) : 0);
    page.append(",\"lanes\":");
    appendList(page, content.lanes, [&](const Lane& lane) { appendLane(page, lane); });
    page.append('}');
}

// The data of a lane is an element of its own, so that the page can decode it when it is looked at.
void appendBlocks(ResultFile& page, const std::deque<Lane>& lanes) {
    for (const Lane& lane : lanes) {
        page.append("<script type=\"text/plain\" class=\"block\">");
        Block block(page);
        LaneBlock columns(block);
        for (const auto& series : lane.m_series) columns.add(*series);
        block.finish();
        page.append("</script>\n");
    }
}

void appendReduced(ResultFile& page, const PageContent& content) {
    if (!content.isReduced) return;
    std::uint32_t most = 0;
    std::uint64_t points = 0;
    std::uint64_t samples = 0;
    for (const Lane& lane : content.lanes)
        for (const auto& series : lane.m_series)
            for (const Leaf& leaf : series->leaves()) {
                most = std::max(most, leaf.count);
                samples += leaf.count;
                ++points;
            }
    if (most < 2) return;
    page.append("<p id=\"reduced\" class=\"note\">A point stands for up to " + std::to_string(most) +
                " samples: " + std::to_string(samples) + " samples are kept as " + std::to_string(points) +
                " points, with their least and greatest values and " +
                "their sums. A larger --max-points keeps more.</p>\n");
}

}  // namespace

void appendPage(ResultFile& page, const PageContent& content) {
    const std::map<std::string_view, std::function<void()>> slots{
        {"title", [&] { appendEscaped(page, content.name); }},
        {"style-hash", [&] { page.append(PAGE_STYLE_HASH); }},
        {"script-hash", [&] { page.append(PAGE_SCRIPT_HASH); }},
        {"style", [&] { page.append(PAGE_STYLE); }},
        {"script", [&] { page.append(PAGE_SCRIPT); }},
        {"head", [&] { appendHead(page, content); }},
        {"losses", [&] { appendLosses(page, content); }},
        {"reduced", [&] { appendReduced(page, content); }},
        {"empty",
         [&] {
             if (content.lanes.empty()) page.append("<p class=\"note\">no samples</p>");
         }},
        {"summary", [&] { content.tables.appendTo(page); }},
        {"notes", [&] { appendNotes(page, content.notes); }},
        {"run", [&] { appendRun(page, content); }},
        {"blocks", [&] { appendBlocks(page, content.lanes); }},
    };
    std::string_view rest = PAGE_FRAME;
    while (true) {
        const std::size_t begin = rest.find("{{");
        page.append(rest.substr(0, begin));
        if (begin == std::string_view::npos) return;
        const std::size_t end = rest.find("}}", begin);
        slots.at(rest.substr(begin + 2, end - begin - 2))();
        rest.remove_prefix(end + 2);
    }
}

}  // namespace exporting
