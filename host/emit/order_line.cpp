#include "host/emit/order_line.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <fstream>
#include <iterator>

namespace host::emit {

std::string orderLine(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    rapidjson::Document order;
    order.Parse<rapidjson::kParseFullPrecisionFlag>(text.data(), text.size());
    if (order.HasParseError() || !order.IsObject()) return {};
    order.RemoveMember("def");
    order.AddMember("def", "order", order.GetAllocator());
    rapidjson::StringBuffer line;
    rapidjson::Writer<rapidjson::StringBuffer> writer(line);
    order.Accept(writer);
    return {line.GetString(), line.GetSize()};
}

}  // namespace host::emit
