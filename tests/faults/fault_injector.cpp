// A preloaded object that makes a chosen call of the process fail.
//
// Environment:
//   FAULT_KIND    "io" (system calls on files, made by the C library) or "alloc" (memory)
//   FAULT_AT      which fallible call fails, counted from 1; 0: none
//   FAULT_EVER    set: that call and all later ones of its kind fail
//   FAULT_ALSO    another call that fails
//   FAULT_INTR    set: the call is interrupted by a signal, if it is one that can be, instead of failing
//   FAULT_SHORT   set: a read or write moves half of its bytes instead of failing
//   FAULT_KILL    set: instead, the process is killed after that call
//   FAULT_REPORT  a file that gets, at exit, "CALLS <n>", "FAILED <call> <path>", the second as "ALSO
//   <call>", "ESCAPED <type>" for an exception
//                 that has left the writer library, and "OPEN <path>" for every descriptor that was not open
//                 at the start
//
// System calls are caught by a filter that raises SIGSYS for the calls below when they come from the C
// library's code; the handler makes the call itself or refuses it. The loader's and the sanitizers' own calls
// are left alone.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <typeinfo>

namespace {

struct Call {
    long number;
    const char* name;
    int error;
};

const Call CALLS[] = {
    {SYS_open, "open", EMFILE},       {SYS_openat, "open", EMFILE},      {SYS_read, "read", EIO},
    {SYS_pread64, "read", EIO},       {SYS_write, "write", ENOSPC},      {SYS_pwrite64, "write", ENOSPC},
    {SYS_writev, "write", ENOSPC},    {SYS_close, "close", EIO},         {SYS_lseek, "seek", EINVAL},
    {SYS_unlink, "unlink", EACCES},   {SYS_unlinkat, "unlink", EACCES},  {SYS_rename, "rename", EACCES},
    {SYS_renameat, "rename", EACCES}, {SYS_renameat2, "rename", EACCES}, {SYS_ftruncate, "truncate", EIO},
};
const Call ALLOCATION = {-1, "alloc", ENOMEM};

bool s_io = false;
bool s_alloc = false;
bool s_ever = false;
bool s_kills = false;
bool s_interrupts = false;
bool s_cuts = false;
bool s_counting = false;  // while main runs
long s_at = 0;
long s_also = 0;
long s_calls = 0;
const Call* s_failed = nullptr;
const Call* s_alsoFailed = nullptr;
char s_failedPath[512] = "-";
const char* s_report = nullptr;
#ifndef FAULT_INJECTOR_WITHOUT_ALLOC
const char* s_thrown = nullptr;  // the type of an exception thrown in the writer library or called from there
const char* s_caught = nullptr;  // the same when it was caught, in case that it is thrown again
#endif
const char* s_escaped = nullptr;  // the type of one that was caught outside
bool s_openAtStart[1024];

// Counts a fallible call and says whether it is to fail.
bool isRefused(const Call& call) {
    if (!s_counting) return false;
    ++s_calls;
    if (s_at == 0 || s_kills) return false;
    if (s_calls == s_at) {
        s_failed = &call;
        return true;
    }
    if (s_calls == s_also) {
        s_alsoFailed = &call;
        return true;
    }
    return s_ever && s_failed != nullptr && std::strcmp(s_failed->name, call.name) == 0;
}

long systemCall(long number, greg_t a, greg_t b, greg_t c, greg_t d, greg_t e, greg_t f) {
    register greg_t r10 asm("r10") = d;
    register greg_t r8 asm("r8") = e;
    register greg_t r9 asm("r9") = f;
    long result = 0;
    asm volatile("syscall"
                 : "=a"(result)
                 : "a"(number), "D"(a), "S"(b), "d"(c), "r"(r10), "r"(r8), "r"(r9)
                 : "rcx", "r11", "memory");
    return result;
}

// The three standard streams work in any case: what is said on them is what the test reads.
bool isStandardStream(const Call& call, greg_t argument) {
    const bool takesPath = call.error == EMFILE || call.error == EACCES;
    return !takesPath && argument >= 0 && argument <= STDERR_FILENO;
}

// Remembers what the refused call was about: a path, or what a descriptor refers to.
void rememberPath(const Call& call, const greg_t* registers) {
    const char* path = nullptr;
    if (call.number == SYS_open || call.number == SYS_unlink || call.number == SYS_rename)
        path = reinterpret_cast<const char*>(registers[REG_RDI]);
    else if (call.number == SYS_openat || call.number == SYS_unlinkat || call.number == SYS_renameat ||
             call.number == SYS_renameat2)
        path = reinterpret_cast<const char*>(registers[REG_RSI]);
    if (path != nullptr) {
        std::strncpy(s_failedPath, path, sizeof s_failedPath - 1);
        return;
    }
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%lld", static_cast<long long>(registers[REG_RDI]));
    const long length = systemCall(SYS_readlink, reinterpret_cast<greg_t>(link),
                                   reinterpret_cast<greg_t>(s_failedPath), sizeof s_failedPath - 1, 0, 0, 0);
    s_failedPath[length > 0 ? length : 0] = '\0';
}

// Calls on plain files that may be interrupted.
bool isInterruptible(const Call& call) {
    return std::strcmp(call.name, "seek") != 0 && std::strcmp(call.name, "unlink") != 0 &&
           std::strcmp(call.name, "rename") != 0;
}

// Of a call that moves more than one byte, half of the bytes.
greg_t cutCount(const Call& call, greg_t count) {
    const bool moves = call.number == SYS_read || call.number == SYS_write || call.number == SYS_pread64 ||
                       call.number == SYS_pwrite64;
    return moves && count > 1 ? count / 2 : count;
}

void handleCall(int, siginfo_t*, void* context) {
    greg_t* const registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    const long number = registers[REG_RAX];
    const Call* call = std::find_if(std::begin(CALLS), std::end(CALLS),
                                    [number](const Call& known) { return known.number == number; });
    bool refused =
        call != std::end(CALLS) && !isStandardStream(*call, registers[REG_RDI]) && isRefused(*call);
    if (refused && s_calls == s_at) rememberPath(*call, registers);
    if (refused && s_cuts) {
        registers[REG_RDX] = cutCount(*call, registers[REG_RDX]);
        refused = false;
    }
    if (refused && s_interrupts && !isInterruptible(*call)) refused = false;
    // A descriptor is released even when close reports an error.
    if (!refused || number == SYS_close)
        registers[REG_RAX] = systemCall(number, registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                                        registers[REG_R10], registers[REG_R8], registers[REG_R9]);
    if (refused) registers[REG_RAX] = s_interrupts ? -EINTR : -call->error;
    if (s_kills && s_calls == s_at) raise(SIGKILL);
}

struct Range {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

constexpr char C_LIBRARY[] = "/libc.so";
constexpr char WRITER_LIBRARY[] = "/libwriter_plugins.so";

// Finds the code of a library.
template <const char* NAME>
int findCode(dl_phdr_info* info, std::size_t, void* found) {
    if (std::strstr(info->dlpi_name, NAME) == nullptr) return 0;
    auto* const range = static_cast<Range*>(found);
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const auto& header = info->dlpi_phdr[i];
        if (header.p_type != PT_LOAD || (header.p_flags & PF_X) == 0) continue;
        range->begin = info->dlpi_addr + header.p_vaddr;
        range->end = range->begin + header.p_memsz;
    }
    return 1;
}

bool installFilter() {
    Range code;
    dl_iterate_phdr(findCode<C_LIBRARY>, &code);
    const auto high = static_cast<std::uint32_t>(code.begin >> 32);
    if (code.begin == 0 || high != static_cast<std::uint32_t>(code.end >> 32)) return false;

    constexpr std::uint32_t address = offsetof(seccomp_data, instruction_pointer);
    constexpr auto count = static_cast<std::uint8_t>(std::size(CALLS));
    sock_filter filter[6 + count + 2];
    sock_filter* next = filter;
    auto load = [&next](std::size_t offset) {
        *next++ = BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
    };
    // Distances are counted from the instruction after the jump; the one before the last allows the call.
    load(address + 4);
    *next++ = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, high, 0, static_cast<std::uint8_t>(4 + count));
    load(address);
    *next++ = BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, static_cast<std::uint32_t>(code.begin), 0,
                       static_cast<std::uint8_t>(2 + count));
    *next++ = BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, static_cast<std::uint32_t>(code.end),
                       static_cast<std::uint8_t>(1 + count), 0);
    load(offsetof(seccomp_data, nr));
    for (std::uint8_t i = 0; i < count; ++i)
        *next++ = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(CALLS[i].number),
                           static_cast<std::uint8_t>(count - i), 0);
    *next++ = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    *next++ = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP);

    sock_fprog program{static_cast<unsigned short>(next - filter), filter};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

void readLink(int descriptor, char* path, std::size_t size) {
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const ssize_t length = readlink(link, path, size - 1);
    path[length > 0 ? length : 0] = '\0';
}

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

__attribute__((constructor)) void arm() {
    const char* const kind = std::getenv("FAULT_KIND");
    if (kind == nullptr) return;
    const char* const at = std::getenv("FAULT_AT");
    s_at = at != nullptr ? std::atol(at) : 0;
    s_ever = std::getenv("FAULT_EVER") != nullptr;
    s_kills = std::getenv("FAULT_KILL") != nullptr;
    s_interrupts = std::getenv("FAULT_INTR") != nullptr;
    s_cuts = std::getenv("FAULT_SHORT") != nullptr;
    if (const char* const also = std::getenv("FAULT_ALSO")) s_also = std::atol(also);
    s_report = std::getenv("FAULT_REPORT");
    for (int i = 0; i < 1024; ++i) s_openAtStart[i] = isOpen(i);
    if (std::strcmp(kind, "alloc") == 0) {
        s_alloc = true;
        return;
    }
    struct sigaction action {};
    action.sa_sigaction = handleCall;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigaction(SIGSYS, &action, nullptr);
    s_io = installFilter();
    if (!s_io) {
        static const char text[] = "fault_injector: the system call filter is refused\n";
        systemCall(SYS_write, 2, reinterpret_cast<greg_t>(text), sizeof text - 1, 0, 0, 0);
        _exit(125);
    }
}

__attribute__((destructor)) void report() {
    s_counting = false;
    if (s_report == nullptr) return;
    std::FILE* const file = std::fopen(s_report, "w");
    if (file == nullptr) return;
    std::fprintf(file, "CALLS %ld\n", s_calls);
    if (s_failed != nullptr) std::fprintf(file, "FAILED %s %s\n", s_failed->name, s_failedPath);
    if (s_alsoFailed != nullptr) std::fprintf(file, "ALSO %s\n", s_alsoFailed->name);
    if (s_escaped != nullptr) std::fprintf(file, "ESCAPED %s\n", s_escaped);
    for (int i = 0; i < 1024; ++i) {
        if (s_openAtStart[i] || i == fileno(file) || !isOpen(i)) continue;
        char path[512];
        readLink(i, path, sizeof path);
        std::fprintf(file, "OPEN %s\n", path);
    }
    std::fclose(file);
}

using Main = int (*)(int, char**, char**);
Main s_main = nullptr;

int countedMain(int count, char** arguments, char** environment) {
    s_counting = true;
    return s_main(count, arguments, environment);
}

}  // namespace

// What libraries construct before main is none of the program's business.
extern "C" __attribute__((visibility("default"))) int __libc_start_main(Main main, int count,
                                                                        char** arguments, void (*init)(),
                                                                        void (*fini)(), void (*loaderFini)(),
                                                                        void* stackEnd) {
    s_main = main;
    const auto start = reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return start(countedMain, count, arguments, init, fini, loaderFini, stackEnd);
}

// Exceptions. One that passes from the writer library to its host is a fault of the library, but for the text
// that a store throws.
#ifndef FAULT_INJECTOR_WITHOUT_ALLOC
namespace {

_Unwind_Reason_Code findFrame(_Unwind_Context* context, void* searched) {
    auto* const code = static_cast<Range*>(searched);
    const std::uint64_t address = _Unwind_GetIP(context);
    if (address < code->begin || address >= code->end) return _URC_NO_REASON;
    code->begin = code->end = 0;
    return _URC_END_OF_STACK;
}

// True if the writer library has called what runs now.
bool isWriterOnStack() {
    Range code;
    dl_iterate_phdr(findCode<WRITER_LIBRARY>, &code);
    if (code.begin == 0) return false;
    _Unwind_Backtrace(findFrame, &code);
    return code.begin == 0;
}

template <typename Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

__attribute__((visibility("default"), noreturn)) void __cxa_throw(void* object, std::type_info* type,
                                                                  void (*destructor)(void*)) {
    static const auto original = next<void (*)(void*, std::type_info*, void (*)(void*))>("__cxa_throw");
    const bool isText = *type == typeid(const char*);
    s_thrown = s_counting && !isText && isWriterOnStack() ? type->name() : nullptr;
    original(object, type, destructor);
    std::abort();
}

__attribute__((visibility("default"), noreturn)) void __cxa_rethrow() {
    static const auto original = next<void (*)()>("__cxa_rethrow");
    s_thrown = s_caught;
    original();
    std::abort();
}

__attribute__((visibility("default"))) void* __cxa_begin_catch(void* exception) noexcept {
    static const auto original = next<void* (*)(void*)>("__cxa_begin_catch");
    if (s_thrown != nullptr && !isWriterOnStack()) s_escaped = s_thrown;
    s_caught = s_thrown;
    s_thrown = nullptr;
    return original(exception);
}

}  // extern "C"
#endif

// The allocation functions; the C library's own are reached by their internal names.
#ifndef FAULT_INJECTOR_WITHOUT_ALLOC
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
    if (s_alloc && isRefused(ALLOCATION)) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) {
    if (s_alloc && isRefused(ALLOCATION)) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
    if (s_alloc && isRefused(ALLOCATION)) {
        errno = ENOMEM;
        return nullptr;
    }
    return __libc_realloc(block, size);
}

}  // extern "C"
#endif
