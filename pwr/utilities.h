#pragma once

#include <cstddef>
#include <cstdio>
#include <functional>
#include <locale>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "pwr/api.h"
#include "pwr/data.h"

extern "C" {

// Formats into `buffer` of `size` bytes, always terminated when `size` is not 0. Returns the length that the
// whole text has, without its terminator.
PWR_HOST_API int pw_snprintf(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Copies `count` bytes if they fit into `destinationSize`. Returns 0, or an errno value and copies nothing.
PWR_HOST_API int memcpy_s(void* destination, std::size_t destinationSize, const void* source,
                          std::size_t count);

}  // extern "C"

namespace pwr {

// Puts the text of an errno value into `buffer` of `size` bytes, terminated. Returns `buffer`.
PWR_HOST_API const char* pw_strerror(int error, char* buffer, std::size_t size);

// True if the environment variable is set, also to an empty text.
PWR_HOST_API bool check_env(const char* name);

// Creates a directory and its parents. Returns 0 on success or if it exists, else non-zero with errno set.
PWR_HOST_API int mkpath(const std::string& path);

// Opens a file with a mode string of fopen. On success fills `file`, which the caller closes, and returns
// true; otherwise returns false with errno set.
PWR_HOST_API bool openFileHandle(FILE** file, const char* path, const char* mode);

// The value as a default-formatted stream prints it in the classic locale.
template <typename T>
std::string to_string(const T& value) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    return stream.str();
}

template <typename T>
std::string toString(const T& value) {
    return to_string(value);
}

// True on the first call for the tag in this process, never after.
template <int Tag>
bool isFirstCall() {
    static bool s_called = false;
    const bool first = !s_called;
    s_called = true;
    return first;
}

// Runs the callable on the first call for the integer tag N, never after.
template <int N, typename F>
void executeOnce(F callable) {
    if (isFirstCall<N>()) callable();
}

// An ordered set.
template <typename T, typename Compare = std::less<T>>
class PWSet : public std::set<T, Compare> {
public:
    using std::set<T, Compare>::set;
};

// Splits a text at every character of the delimiters; empty tokens are skipped.
class PWR_HOST_API Tokenizer {
public:
    Tokenizer(const std::string& text, const char* delimiters);
    ~Tokenizer();

    std::vector<std::string> get_all_tokens() const;

private:
    std::string m_text;
    std::string m_delimiters;
};

class PWR_HOST_API Formatter {
public:
    virtual ~Formatter();
};

// Prints numbers as by "%*.*f".
class PWR_HOST_API RealFormatter : public Formatter {
public:
    RealFormatter(int width, int precision);
    ~RealFormatter() override;

    // Replaces `out` by the text of `value`; a range as low, " - ", high; a value that is no number as its
    // display text.
    void format(std::string& out, const Data& value) const;

private:
    int m_width;
    int m_precision;
};

}  // namespace pwr
