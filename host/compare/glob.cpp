#include "host/compare/glob.h"

#include <fnmatch.h>
#include <locale.h>

namespace host::compare {

namespace {

// While it lives, texts are UTF-8 for functions of the C library on this thread.
class Utf8Locale {
public:
    Utf8Locale() : m_locale(::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
        if (m_locale != nullptr) m_old = ::uselocale(m_locale);
    }
    Utf8Locale(const Utf8Locale&) = delete;
    Utf8Locale& operator=(const Utf8Locale&) = delete;
    ~Utf8Locale() {
        if (m_locale == nullptr) return;
        ::uselocale(m_old);
        ::freelocale(m_locale);
    }

private:
    locale_t m_locale;
    locale_t m_old = nullptr;
};

}  // namespace

bool matches(const std::string& glob, const std::string& text) {
    const Utf8Locale locale;
    return ::fnmatch(glob.c_str(), text.c_str(), FNM_NOESCAPE) == 0;
}

}  // namespace host::compare
