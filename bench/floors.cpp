#include "bench/floors.h"

#include <fcntl.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/measure.h"
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

namespace {

constexpr std::size_t TRANSFER_SIZE = std::size_t{1} << 20;

// Files of one run, each removed as soon as it is open.
std::vector<int> openFiles(std::size_t count) {
    std::vector<int> files;
    for (std::size_t i = 0; i < count; ++i) {
        files.push_back(open("transfer", O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600));
        if (files.back() < 0 || unlink("transfer") != 0) std::_Exit(1);
    }
    return files;
}

template <typename Call>
void transfer(Call call, int file, std::vector<char>& buffer, std::size_t bytes) {
    while (bytes > 0) {
        const std::size_t size = std::min(bytes, buffer.size());
        if (call(file, buffer.data(), size) != static_cast<ssize_t>(size)) std::_Exit(1);
        bytes -= size;
    }
}

double transferOnce(std::size_t spooled, std::size_t spools, std::size_t result) {
    std::vector<char> buffer(TRANSFER_SIZE, 'x');
    const std::vector<int> files = openFiles(spools + 1);
    const std::size_t share = spools != 0 ? spooled / spools : 0;
    const double start = cpuNs();
    for (std::size_t i = 0; i < spools; ++i) transfer(write, files[i], buffer, share);
    for (std::size_t i = 0; i < spools; ++i) {
        if (lseek(files[i], 0, SEEK_SET) != 0) std::_Exit(1);
        transfer(read, files[i], buffer, share);
    }
    transfer(write, files[spools], buffer, result);
    const double ns = cpuNs() - start;
    for (const int file : files) close(file);
    return ns;
}

}  // namespace

double transfers(double spooled, double spools, double result) {
    const auto run = [&] {
        return transferOnce(static_cast<std::size_t>(spooled), static_cast<std::size_t>(spools),
                            static_cast<std::size_t>(result));
    };
    run();
    return run();
}

}  // namespace bench
