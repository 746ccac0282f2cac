// Files that writers make through stdio.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

// An open file that is closed with its owner.
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// Opens `path` with a mode string of fopen, through the host. Null with errno set on failure.
FilePtr openFile(const std::string& path, const char* mode);

// Writes `text`. Puts the errno of the first write that fails into `writeError`, which is 0 until then.
void writeText(std::FILE* file, std::string_view text, int& writeError);

// Flushes and closes `file`, and returns true if everything that was ever written to it has reached the
// system. Otherwise logs one error line that names `path` and the reason, and returns false. `writeError` is
// the errno of a write that has failed before, where the caller has kept it, or 0.
bool finishFile(FilePtr file, const std::string& path, int writeError = 0);
