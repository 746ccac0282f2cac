// A preloaded object that moves a program to where numbers are written with a comma and no time zone is a
// whole number of hours away: the locale and the zone of the environment, for C and for C++. Ends the program
// if they are not what the tests rely on.
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>
#include <locale>

extern "C" {
// Of the leak check, where there is one.
__attribute__((weak)) void __lsan_disable();
__attribute__((weak)) void __lsan_enable();
}

namespace {

constexpr int SECONDS_TO_KOLKATA = 19800;
constexpr int NOT_ELSEWHERE = 99;

bool moveElsewhere() try {
    if (std::setlocale(LC_ALL, "") == nullptr || std::strcmp(std::localeconv()->decimal_point, ",") != 0)
        return false;
    std::locale::global(std::locale(""));
    std::setlocale(LC_MESSAGES, "C");  // tests compare what the system says of errors
    const std::time_t now = 0;
    struct tm local {};
    return localtime_r(&now, &local) != nullptr && local.tm_gmtoff == SECONDS_TO_KOLKATA;
} catch (const std::exception&) {
    return false;
}

__attribute__((constructor)) void start() {
    // The C library never frees what it makes of LOCPATH.
    if (__lsan_disable != nullptr) __lsan_disable();
    const bool isMoved = moveElsewhere();
    if (__lsan_enable != nullptr) __lsan_enable();
    if (isMoved) return;
    std::fputs("elsewhere: the locale with the comma or the time zone is not there\n", stderr);
    _exit(NOT_ELSEWHERE);
}

}  // namespace
