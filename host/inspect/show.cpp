#include "host/inspect/show.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>

#include "host/inspect/damage_report.h"
#include "host/inspect/json_line.h"
#include "host/inspect/pwr_decoder.h"
#include "host/inspect/ztbin_decoder.h"

namespace host::inspect {

namespace {

enum class Format { Unknown, Ztbin, Pwr };

constexpr std::string_view PWR_MAGIC("\x00\x00\x00\x08\xFA\xDE\xDE\xAD", 8);

Format formatOf(const std::string& file, std::string_view bytes) {
    if (bytes.starts_with(PWR_MAGIC)) return Format::Pwr;
    if (ZtbinDecoder::isRecognised(bytes)) return Format::Ztbin;
    if (file.ends_with(".pwr")) return Format::Pwr;
    if (file.ends_with(".ztbin")) return Format::Ztbin;
    return Format::Unknown;
}

constexpr std::string_view PART_EXTENSION = ".ztbin";

// A numbered file of a continuous run.
struct Part {
    std::string run;  // the path up to the number
    std::uint64_t number;
};

std::optional<Part> partOf(const std::string& file) {
    if (!file.ends_with(PART_EXTENSION)) return std::nullopt;
    const std::string stem = file.substr(0, file.size() - PART_EXTENSION.size());
    const std::size_t begin = stem.find_last_not_of("0123456789") + 1;
    std::uint64_t number = 0;
    const auto result = std::from_chars(stem.data() + begin, stem.data() + stem.size(), number);
    if (begin == 0 || stem[begin - 1] != '_' || result.ec != std::errc()) return std::nullopt;
    return Part{stem.substr(0, begin), number};
}

// Reads the whole file; "-" is standard input. Returns false with errno set if that fails.
bool readFile(const std::string& path, std::string& bytes) {
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    const std::unique_ptr<std::FILE, Closer> opened(path == "-" ? nullptr : std::fopen(path.c_str(), "rb"));
    std::FILE* const file = path == "-" ? stdin : opened.get();
    if (file == nullptr) return false;
    constexpr std::size_t STEP = std::size_t{1} << 20;
    std::size_t size = 0;
    do {
        bytes.resize(size + STEP);
        size += std::fread(bytes.data() + size, 1, STEP, file);
    } while (size == bytes.size());
    bytes.resize(size);
    return std::ferror(file) == 0;
}

// Decodes files one after the other.
class Viewer {
public:
    // `verdicts`, which may be null, gets a line for each sound file.
    Viewer(bool namesFiles, std::ostream* out, std::ostream* verdicts, std::ostream& err)
        : m_namesFiles(namesFiles), m_out(out), m_verdicts(verdicts), m_err(err) {}

    // Returns true if the file could be read and is sound.
    bool show(const std::string& file) {
        std::string bytes;
        if (!readFile(file, bytes)) {
            m_err << file << ": " << std::strerror(errno) << '\n';
            return false;
        }
        JsonLine line(m_out, m_namesFiles ? file : std::string());
        DamageReport report(file, m_err);
        decode_i(file, bytes, line, report);
        if (report.count() != 0) explainPart_i(file);
        if (report.count() == 0 && m_verdicts != nullptr) *m_verdicts << file << ": sound\n";
        m_shown.insert(file);
        return report.count() == 0;
    }

private:
    void decode_i(const std::string& file, std::string_view bytes, JsonLine& line, DamageReport& report) {
        switch (formatOf(file, bytes)) {
            case Format::Ztbin:
                m_ztbin.decode(bytes, line, report);
                return;
            case Format::Pwr:
                decodePwr(bytes, line, report);
                return;
            case Format::Unknown:
                report.add(0, "no format that is known here");
        }
    }

    // What a part of a continuous run lacks may stand in the one before it.
    void explainPart_i(const std::string& file) {
        const std::optional<Part> part = partOf(file);
        if (!part || part->number == 0) return;
        const std::string before = part->run + std::to_string(part->number - 1) + std::string(PART_EXTENSION);
        if (!m_shown.contains(before))
            m_err << file << ": a part of a continuous run: give " << before
                  << " and those before it as well, as what they define holds here\n";
    }

    bool m_namesFiles;
    std::ostream* m_out;
    std::ostream* m_verdicts;
    std::ostream& m_err;
    ZtbinDecoder m_ztbin;
    std::set<std::string> m_shown;
};

// Puts the parts of each continuous run in the order of their numbers, as a shell lists 10 before 2.
std::vector<std::string> inOrder(std::vector<std::string> files) {
    std::map<std::string, std::vector<std::size_t>> runs;  // places in the list
    for (std::size_t i = 0; i < files.size(); ++i)
        if (const auto part = partOf(files[i])) runs[part->run].push_back(i);
    for (const auto& [run, places] : runs) {
        std::vector<std::string> parts;
        parts.reserve(places.size());
        for (const std::size_t place : places) parts.push_back(files[place]);
        std::stable_sort(parts.begin(), parts.end(), [](const std::string& one, const std::string& other) {
            return partOf(one)->number < partOf(other)->number;
        });
        // One that is given twice begins the run anew.
        if (std::adjacent_find(parts.begin(), parts.end()) != parts.end()) continue;
        for (std::size_t i = 0; i < places.size(); ++i) files[places[i]] = parts[i];
    }
    return files;
}

}  // namespace

int show(const std::vector<std::string>& files, bool check, std::ostream& out, std::ostream& err) {
    Viewer viewer(files.size() > 1, check ? nullptr : &out, check ? &out : nullptr, err);
    int status = 0;
    for (const std::string& file : inOrder(files))
        if (!viewer.show(file)) status = 1;
    if (!out.flush()) {
        err << "show: cannot write the records\n";
        status = 1;
    }
    return status;
}

}  // namespace host::inspect
