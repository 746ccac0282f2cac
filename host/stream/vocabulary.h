// The words of the message stream, for all who read or write it.
//
// What each means stands in docs/stream.md.
#pragma once

#include <string_view>

namespace host::stream {

// Keys of members.
namespace key {

using Key = std::string_view;

// Every line.
inline constexpr Key DEFINITION = "def";
inline constexpr Key MESSAGE = "msg";
inline constexpr Key ID = "id";

// Definitions.
inline constexpr Key NAME = "name";
inline constexpr Key HEADER = "header";
inline constexpr Key FIELD = "field";
inline constexpr Key QUALIFIED = "qualified";
inline constexpr Key TYPE = "type";
inline constexpr Key QUANTITY = "quantity";
inline constexpr Key KIND = "kind";
inline constexpr Key UNITS = "units";
inline constexpr Key TITLE = "title";
inline constexpr Key RATE = "rate";
inline constexpr Key TIME = "time";
inline constexpr Key ATTRIBUTES = "attributes";
inline constexpr Key PARENT = "parent";
inline constexpr Key EXPECTED = "expected";
inline constexpr Key PATH = "path";
inline constexpr Key PID = "pid";
inline constexpr Key TID = "tid";
inline constexpr Key START = "start";
inline constexpr Key END = "end";
inline constexpr Key INFO = "info";
inline constexpr Key DESCRIPTION = "desc";
inline constexpr Key VALUE = "value";

// Metrics.
inline constexpr Key GROUP = "group";
inline constexpr Key CLASS = "class";
inline constexpr Key LEGEND = "legend";
inline constexpr Key STATE = "state";
inline constexpr Key ENTITY = "entity";
inline constexpr Key DESCRIPTORS = "descriptors";
inline constexpr Key ENTITIES = "entities";

// Tables and their messages.
inline constexpr Key CONTAINER = "container";
inline constexpr Key SUMMARY = "summary";
inline constexpr Key HEADERS = "headers";
inline constexpr Key SHARED = "shared";
inline constexpr Key HANDLES = "handles";
inline constexpr Key NOTES = "notes";
inline constexpr Key TABLE = "table";
inline constexpr Key CELLS = "cells";
inline constexpr Key FEATURE = "feature";
inline constexpr Key METRIC = "metric";
inline constexpr Key TIMELINE = "timeline";
inline constexpr Key TEXT = "text";

// Samples and their elements.
inline constexpr Key TICKS = "t";
inline constexpr Key DATA = "data";
inline constexpr Key DURATION = "dur";
inline constexpr Key VYRTA_DESCRIPTOR = "vd";

// Values: those that the report and definitions hold.
inline constexpr Key STRING = "s";
inline constexpr Key HANDLE = "h";

// The machine.
inline constexpr Key CPU = "cpu";
inline constexpr Key PRODUCT = "product";
inline constexpr Key DRIVER = "driver";
inline constexpr Key PLATFORM = "platform";
inline constexpr Key PLATFORM_ID = "platformId";
inline constexpr Key HOST = "host";
inline constexpr Key OS_NAME = "osName";
inline constexpr Key OS_TYPE = "osType";
inline constexpr Key OS_VERSION = "osVersion";
inline constexpr Key START_TIME = "startTime";
inline constexpr Key CODE_NAME = "codeName";
inline constexpr Key NATIVE_MODEL = "nativeModel";
inline constexpr Key PCH_NAMES = "pchNames";
inline constexpr Key COMMAND = "command";
inline constexpr Key TOPOLOGY = "topology";
inline constexpr Key BUS_MHZ = "busMHz";
inline constexpr Key TSC_MHZ = "tscMHz";
inline constexpr Key LFM_MHZ = "lfmMHz";
inline constexpr Key HFM_MHZ = "hfmMHz";
inline constexpr Key CPU_MHZ = "cpuMHz";
inline constexpr Key STOP = "stop";
inline constexpr Key TSC = "tsc";
inline constexpr Key DURATION_SEC = "durationSec";

// The report's order.
inline constexpr Key FEATURES = "features";
inline constexpr Key PREFIXES = "prefixes";
inline constexpr Key METRICS = "metrics";

}  // namespace key

// Members of an element that have one letter.
namespace element {

inline constexpr char ENTITY = 'e';
inline constexpr char DESCRIPTOR = 'd';
inline constexpr char VALUE = 'v';

}  // namespace element

// The one key of a value: its type.
namespace value {

inline constexpr char INT = 'i';
inline constexpr char UINT = 'u';
inline constexpr char REAL = 'r';
inline constexpr char HANDLE = 'h';
inline constexpr char STRING = 's';

}  // namespace value

// Types of metrics, by their numbers, which a line may give instead.
inline constexpr std::string_view METRIC_TYPES[] = {"SAMPLED_DELTA", "SAMPLED_RESIDENCY", "SAMPLED_VALUE",
                                                    "TRACED_VALUE_TRANSITION", "TRACED_EVENT"};

// What a line with "def" defines.
namespace definition {

inline constexpr std::string_view QUANTITY = "quantity";
inline constexpr std::string_view ATTRIBUTE = "attribute";
inline constexpr std::string_view ENTITY = "entity";
inline constexpr std::string_view DESCRIPTOR = "descriptor";
inline constexpr std::string_view HANDLE = "handle";
inline constexpr std::string_view PROCESS = "process";
inline constexpr std::string_view THREAD = "thread";
inline constexpr std::string_view PAIR = "pair";
inline constexpr std::string_view METRIC = "metric";
inline constexpr std::string_view TABLE = "table";
inline constexpr std::string_view ORDER = "order";

}  // namespace definition

// What a line with "msg" is.
namespace message {

inline constexpr std::string_view METRIC = "metric";
inline constexpr std::string_view ROW = "row";
inline constexpr std::string_view TABLE = "table";
inline constexpr std::string_view CONTAINER = "container";
inline constexpr std::string_view TEXT = "text";
inline constexpr std::string_view HEADER = "header";
inline constexpr std::string_view ID = "id";
inline constexpr std::string_view FLUSH = "flush";
inline constexpr std::string_view END = "end";
inline constexpr std::string_view STOP = "stop";
inline constexpr std::string_view SYSTEM = "system";

}  // namespace message

}  // namespace host::stream
