#include "host/session/order_file.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "host/stream/definition_reader.h"
#include "host/stream/json_line.h"

namespace host::session {

bool readOrderFile(const std::string& path, model::OutputConfiguration& out, std::string& error) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (file) content << file.rdbuf();
    if (!file || !content) {
        error = "cannot read the output configuration " + path + ": " + std::strerror(errno);
        return false;
    }
    const std::string text = content.str();
    std::vector<char> buffer(text.begin(), text.end());
    buffer.resize(text.size() + stream::JsonLine::PADDING);

    stream::Fault fault;
    stream::JsonLine json;
    model::OutputConfiguration configuration;
    if (const stream::Token* root = json.parse(buffer.data(), text.size(), fault); root != nullptr) {
        stream::ObjectReader object(*root, fault);
        if (object.text("def", "order") != "order") fault.set("\"def\": expected \"order\"");
        stream::readOutputConfiguration(object, configuration);
        object.finish();
    }
    if (fault.isSet()) {
        error = path + ": " + fault.text();
        return false;
    }
    out = std::move(configuration);
    return true;
}

}  // namespace host::session
