// Loaded before all others, it counts the calls of a program from main on, and lets one of them fail:
// TVK_FAULT=KIND:NUMBER:ERROR, where KIND is memory, file or layer, and 0 lets a write take half. Each call
// that fails, and without TVK_FAULT each call, is told to the file TVK_FAULT_REPORT: its kind, its name, a
// number that calls have in common which were reached in the same way, and the file of the caller.
#include "support/platform_call_table.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <unwind.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace {

struct Kind {
    char const* name;
    std::atomic<long> count{0};
    long failing = 0;
};
Kind memory{"memory"};
Kind file{"file"};
Kind layer{"layer"};

bool isCounting = false;
bool isRecording = false;
int failure = 0;
int report = -1;
thread_local bool isInside __attribute__((tls_model("initial-exec"))) = false;

// The way to a call, and the file of the program or library that calls.
struct Way {
    _Unwind_Ptr sum = 0;
    char const* caller = nullptr;
    int frames = 0;
};

// A place in a file is the same in every run, its address isn't.
_Unwind_Reason_Code addFrame(_Unwind_Context* context, void* result) {
    auto& way = *static_cast<Way*>(result);
    dl_find_object object{};
    auto const address = _Unwind_GetIP(context);
    if (_dl_find_object(reinterpret_cast<void*>(address), &object) == 0) {
        auto const start = reinterpret_cast<_Unwind_Ptr>(object.dlfo_map_start);
        auto const size = reinterpret_cast<_Unwind_Ptr>(object.dlfo_map_end) - start;
        way.sum = (way.sum ^ (address - start) ^ size << 7) * 0x01000193U + (way.sum >> 15);
        char const* const name = object.dlfo_link_map->l_name;
        if (way.caller == nullptr && std::strstr(name, "failing_calls") == nullptr)
            way.caller = name;
    }
    constexpr int most = 12; // further out the commands differ, and what they share would count for each
    return ++way.frames == most ? _URC_END_OF_STACK : _URC_NO_REASON;
}

bool fails(Kind& kind, char const* name) {
    if (!isCounting || isInside)
        return false;
    bool const isThis = ++kind.count == kind.failing;
    if (isThis || isRecording) {
        int const before = errno;
        isInside = true;
        Way way;
        _Unwind_Backtrace(addFrame, &way);
        char line[1000];
        int const length =
            std::snprintf(line, sizeof line, "%s %s %zx %s.\n", kind.name, name, size_t{way.sum}, way.caller);
        ::syscall(SYS_write, report, line, static_cast<size_t>(length));
        isInside = false;
        errno = isThis ? failure : before;
    }
    return isThis;
}

template <class Function>
Function* real(char const* name, void* library = RTLD_NEXT) {
    return reinterpret_cast<Function*>(::dlsym(library, name));
}

int (*realMain)(int, char**, char**) = nullptr;

int countedMain(int count, char** words, char** environment) {
    if (char const* const path = std::getenv("TVK_FAULT_REPORT"))
        report = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    char const* const fault = std::getenv("TVK_FAULT");
    isRecording = fault == nullptr || *fault == '\0';
    for (Kind* const kind : {&memory, &file, &layer})
        if (fault != nullptr && *fault == *kind->name)
            std::sscanf(fault, "%*[^:]:%ld:%d", &kind->failing, &failure);
    ::alarm(20);
    isCounting = true;
    return realMain(count, words, environment);
}

} // namespace

extern "C" {

void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);

int __libc_start_main(int (*main)(int, char**, char**), int count, char** words, void (*begin)(),
                      void (*end)(), void (*loader)(), void* stack) {
    realMain = main;
    auto* const next = real<decltype(__libc_start_main)>("__libc_start_main");
    return next(countedMain, count, words, begin, end, loader, stack);
}

void* malloc(size_t size) { return fails(memory, "malloc") ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) {
    return fails(memory, "calloc") ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* before, size_t size) {
    return fails(memory, "realloc") ? nullptr : __libc_realloc(before, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    return fails(memory, "aligned_alloc") ? nullptr : __libc_memalign(alignment, size);
}
int posix_memalign(void** result, size_t alignment, size_t size) {
    *result = aligned_alloc(alignment, size);
    return *result == nullptr ? ENOMEM : 0;
}

} // extern "C"

namespace {

bool isLocking(long command, long argument) {
    return (command == F_SETLK || command == F_SETLKW || command == F_OFD_SETLK) &&
           reinterpret_cast<struct flock const*>(argument)->l_type != F_UNLCK;
}

} // namespace

// The arguments are words, in registers or on the stack, and pass through as such, whatever they are and
// however many. The functions bear names of their own, as the headers declare the real ones in many ways.
#define WORDS(of) of a, of b, of c, of d, of e, of f, of g, of h
#define FILE_CALL(name, failed, condition, effect)                       \
    extern "C" long failing_##name(WORDS(long)) asm(#name);              \
    extern "C" long failing_##name(WORDS([[maybe_unused]] long)) {       \
        static auto* const next = real<decltype(failing_##name)>(#name); \
        if (!(condition) || !fails(file, #name))                         \
            return next(WORDS());                                        \
        effect;                                                          \
        errno = failure;                                                 \
        return failed;                                                   \
    }
#define PLAIN_CALL(name) FILE_CALL(name, -1, true, (void)next)
#define OBJECT_CALL(name) FILE_CALL(name, 0, true, (void)next)
#define MAP_CALL(name) FILE_CALL(name, -1, static_cast<int>(e) >= 0, (void)next)
// What locks fails, not what unlocks: that can't on a file system that is fit for databases.
#define LOCK_CALL(name) FILE_CALL(name, -1, isLocking(b, c), (void)next)
#define WRITE_CALL(name) \
    FILE_CALL(name, -1, true, if (failure == 0) return next(a, b, (c + 1) / 2, d, e, f, g, h))
// clang-format off
PLAIN_CALL(open) PLAIN_CALL(open64) PLAIN_CALL(mkostemp) PLAIN_CALL(memfd_create) PLAIN_CALL(mkdir)
OBJECT_CALL(fopen) OBJECT_CALL(fopen64) OBJECT_CALL(opendir) OBJECT_CALL(realpath)
PLAIN_CALL(read) PLAIN_CALL(pread) PLAIN_CALL(pread64) PLAIN_CALL(readlink)
WRITE_CALL(write) WRITE_CALL(pwrite64)
PLAIN_CALL(ftruncate64) PLAIN_CALL(fsync) PLAIN_CALL(fdatasync) PLAIN_CALL(chmod) PLAIN_CALL(fchmod)
PLAIN_CALL(rename) PLAIN_CALL(renameat2) PLAIN_CALL(link) PLAIN_CALL(linkat) PLAIN_CALL(unlink)
PLAIN_CALL(stat) PLAIN_CALL(lstat) PLAIN_CALL(fstat) PLAIN_CALL(stat64) PLAIN_CALL(lstat64)
PLAIN_CALL(fstat64) PLAIN_CALL(statfs) PLAIN_CALL(access) PLAIN_CALL(faccessat)
MAP_CALL(mmap) MAP_CALL(mmap64) LOCK_CALL(fcntl) LOCK_CALL(fcntl64)
FILE_CALL(close, -1, true, next(WORDS()))
    // clang-format on

    namespace {
    // The layer is no part of the program, but of the module that it loads.
    template <class Function>
    Function* realInLayer(char const* name) {
        isInside = true;
        void* const library = ::dlopen("libwincrypt.so.1", RTLD_LAZY | RTLD_NOLOAD);
        auto* const found = real<Function>(name, library);
        ::dlclose(library);
        isInside = false;
        return found;
    }

    void freeContext(PCCERT_CONTEXT context) {
        realInLayer<BOOL(PCCERT_CONTEXT)>("CertFreeCertificateContext")(context);
    }
    template <typename Other>
    void freeContext(Other) {}

    // What is released is released whatever the result says, a context that a search is given too.
    template <auto Call, typename... Arguments>
    auto pass(char const* name, Arguments... arguments) {
        using Result = decltype(Call(arguments...));
        std::string_view const text = name;
        bool const isFailing = fails(layer, name);
        bool isReleasing = false;
        for (char const* const part : {"Free", "Destroy", "Release", "Close"})
            isReleasing = isReleasing || text.find(part) != text.npos;
        if (!isFailing)
            return realInLayer<Result(Arguments...)>(name)(arguments...);
        if (isReleasing)
            realInLayer<Result(Arguments...)>(name)(arguments...);
        else if (text.find("InStore") != text.npos || text.find("FromStore") != text.npos)
            (freeContext(arguments), ...);
        realInLayer<void(DWORD)>("SetLastError")(static_cast<DWORD>(failure));
        // As the layer does of what fails, so that it isn't taken for what isn't there.
        char const* const log = std::getenv("WINCRYPT_LOG");
        isInside = true;
        if (int const lines = log != nullptr ? ::open(log, O_WRONLY | O_APPEND | O_CLOEXEC) : -1;
            lines >= 0) {
            ::dprintf(lines, "wincrypt: %s: failed\n", name);
            ::close(lines);
        }
        isInside = false;
        return Result{};
    }

} // namespace

FOR_EACH_PLATFORM_CALL(DEFINE_PLATFORM_CALL)
DEFINE_PLATFORM_CALL(4, CryptImportPKCS8)
