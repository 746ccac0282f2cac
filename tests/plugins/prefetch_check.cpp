// Fetching ahead where there is nothing, under a sanitizer that only clang has.
#include "plugins/prefetch.h"

int main() {
    const volatile void* const nothing = nullptr;
    prefetch(const_cast<const void*>(nothing), 4 * CACHE_LINE);
}
