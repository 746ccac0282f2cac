#include "plugins/output_file.h"

#include <cerrno>
#include <cstring>

#include "plugins/log.h"
#include "pwr/utilities.h"

FilePtr openFile(const std::string& path, const char* mode) {
    std::FILE* file = nullptr;
    if (!pwr::openFileHandle(&file, path.c_str(), mode)) return nullptr;
    return FilePtr(file);
}

void writeText(std::FILE* file, std::string_view text, int& writeError) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), file) != text.size() && writeError == 0)
        writeError = errno != 0 ? errno : EIO;
}

bool finishFile(FilePtr file, const std::string& path, int writeError) {
    // After a write has failed, fflush and fclose may both succeed: only ferror shows it, and no longer why.
    errno = 0;
    bool complete = std::ferror(file.get()) == 0;
    int reason = complete ? 0 : writeError != 0 ? writeError : EIO;
    if (std::fflush(file.get()) != 0) {
        if (writeError == 0) reason = errno;
        complete = false;
    }
    if (std::fclose(file.release()) != 0) {
        if (complete) reason = errno;
        complete = false;
    }
    if (!complete) LOG_ERROR("Could not complete %s: %s\n", path.c_str(), std::strerror(reason));
    return complete;
}
