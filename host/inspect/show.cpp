#include "host/inspect/show.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
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

// Reads the whole file. Returns false with errno set if that fails.
bool readFile(const std::string& path, std::string& bytes) {
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    const std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr) return false;
    constexpr std::size_t STEP = std::size_t{1} << 20;
    std::size_t size = 0;
    do {
        bytes.resize(size + STEP);
        size += std::fread(bytes.data() + size, 1, STEP, file.get());
    } while (size == bytes.size());
    bytes.resize(size);
    return std::ferror(file.get()) == 0;
}

// Decodes files one after the other.
class Viewer {
public:
    Viewer(bool namesFiles, std::ostream* out, std::ostream& err)
        : m_namesFiles(namesFiles), m_out(out), m_err(err) {}

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

    bool m_namesFiles;
    std::ostream* m_out;
    std::ostream& m_err;
    ZtbinDecoder m_ztbin;
};

}  // namespace

int show(const std::vector<std::string>& files, bool check, std::ostream& out, std::ostream& err) {
    Viewer viewer(files.size() > 1, check ? nullptr : &out, err);
    int status = 0;
    for (const std::string& file : files)
        if (!viewer.show(file)) status = 1;
    if (!check && !out.flush()) {
        err << "show: cannot write the records\n";
        status = 1;
    }
    return status;
}

}  // namespace host::inspect
