#include "bench/floors.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <charconv>
#include <cstdio>
#include <cstring>

#include "plugins/packing.h"

namespace bench {

PlainElements::PlainElements(std::size_t count) {
    start.reserve(count);
    end.reserve(count);
    value.reserve(count);
    std::uint64_t random = 88172645463325252u;
    const double microsecondsPerTick = 1.0f / 2400.0f;
    for (std::size_t i = 0; i < count; ++i) {
        random ^= random << 13;
        random ^= random >> 7;
        random ^= random << 17;
        start.push_back(i * 100);
        end.push_back(i * 100 + 100);
        value.push_back(static_cast<double>(random % 240000000) * microsecondsPerTick);
    }
}

std::size_t packedRecords(const PlainElements& elements, const char* path) {
    std::vector<char> bytes;
    for (std::size_t i = 0; i < elements.size(); ++i) {
        char record[27];
        char* out = packing::put<std::uint8_t>(record, 7);
        out = packing::put<std::uint16_t>(out, 24);
        out = packing::put(out, elements.start[i]);
        out = packing::put(out, elements.end[i]);
        packing::put(out, elements.value[i]);
        bytes.insert(bytes.end(), record, record + sizeof record);
    }
    std::FILE* file = std::fopen(path, "wb");
    if (file == nullptr) return 0;
    const std::size_t written = std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
    return written;
}

std::size_t paddedCells(const PlainElements& elements) {
    std::vector<char> spool;
    std::uint32_t width = 0;
    for (const double value : elements.value) {
        char cell[64];
        const char* last =
            std::to_chars(cell + 4, cell + sizeof cell, value, std::chars_format::fixed, 2).ptr;
        const auto length = static_cast<std::uint32_t>(last - (cell + 4));
        packing::put(cell, length);
        if (length > width) width = length;
        spool.insert(spool.end(), static_cast<const char*>(cell), last);
    }

    std::vector<char> page(1 << 20);
    std::size_t used = 0;
    std::size_t total = 0;
    for (const char* in = spool.data(); in != spool.data() + spool.size();) {
        const auto length = packing::get<std::uint32_t>(in);
        if (used + width + 1 > page.size()) {
            total += used;
            used = 0;
        }
        char* out = page.data() + used;
        std::memset(out, ' ', width - length);
        std::memcpy(out + width - length, in + 4, length);
        out[width] = ',';
        used += width + 1;
        in += 4 + length;
    }
    return total + used;
}

std::size_t jsonPoints(const PlainElements& elements) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartArray();
    for (std::size_t i = 0; i < elements.size(); ++i) {
        writer.StartObject();
        writer.Key("x");
        writer.Uint64(elements.start[i]);
        writer.Key("x1");
        writer.Uint64(elements.end[i]);
        writer.Key("y");
        writer.Double(elements.value[i]);
        writer.EndObject();
    }
    writer.EndArray();
    return buffer.GetSize();
}

}  // namespace bench
