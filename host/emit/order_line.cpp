#include "host/emit/order_line.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdint>
#include <string_view>

#include "host/base/transfer.h"

namespace host::emit {

namespace {

// Hands on what the reader finds, an object, with a member "def" of its own in place of one that is there.
class OrderPrinter {
public:
    explicit OrderPrinter(rapidjson::StringBuffer& line) : m_writer(line) {}

    bool Null() { return m_isDropping || m_writer.Null(); }
    bool Bool(bool truth) { return m_isDropping || m_writer.Bool(truth); }
    bool Int(int number) { return m_isDropping || m_writer.Int(number); }
    bool Uint(unsigned number) { return m_isDropping || m_writer.Uint(number); }
    bool Int64(std::int64_t number) { return m_isDropping || m_writer.Int64(number); }
    bool Uint64(std::uint64_t number) { return m_isDropping || m_writer.Uint64(number); }
    bool Double(double number) { return m_isDropping || m_writer.Double(number); }
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return false; }
    bool String(const char* text, rapidjson::SizeType size, bool) {
        return m_isDropping || m_writer.String(text, size);
    }
    bool Key(const char* text, rapidjson::SizeType size, bool) {
        if (m_depth == 1) m_isDropping = std::string_view(text, size) == "def";
        return m_isDropping || m_writer.Key(text, size);
    }
    bool StartObject() {
        if (m_depth++ == 0) return m_writer.StartObject() && m_writer.Key("def") && m_writer.String("order");
        return m_isDropping || m_writer.StartObject();
    }
    bool EndObject(rapidjson::SizeType) {
        if (--m_depth == 0) m_isDropping = false;
        return m_isDropping || m_writer.EndObject();
    }
    bool StartArray() { return m_depth++ > 0 && (m_isDropping || m_writer.StartArray()); }
    bool EndArray(rapidjson::SizeType) {
        --m_depth;
        return m_isDropping || m_writer.EndArray();
    }

private:
    rapidjson::Writer<rapidjson::StringBuffer> m_writer;
    unsigned m_depth = 0;
    bool m_isDropping = false;
};

}  // namespace

std::string orderLine(const std::string& path) {
    const std::string text = base::fileText(path);
    rapidjson::MemoryStream input(text.data(), text.size());
    rapidjson::StringBuffer line;
    OrderPrinter printer(line);
    rapidjson::Reader reader;
    if (!reader.Parse<rapidjson::kParseFullPrecisionFlag>(input, printer) || *line.GetString() != '{')
        return {};
    return {line.GetString(), line.GetSize()};
}

}  // namespace host::emit
