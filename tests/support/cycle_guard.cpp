#include "support/cycle_guard.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <malloc.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#ifdef __SANITIZE_ADDRESS__
// as in the compiler's <sanitizer/allocator_interface.h>, which not every g++ package brings
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, size_t),
                                                         void (*onFree)(const volatile void*));
#endif

// The watched functions below replace the C library's: the program's own definitions come first in the
// search order of the dynamic linker, for the program as for every shared object that it loads.

namespace tarn::test {
namespace {

// ---- what was found; plain storage, since it is written where nothing may be allocated

struct Finding {
    const char* kind;
    const char* name;    // nullptr: a system call, told by its number
    const void* caller;  // nullptr where it is not known
    long number;
};

constexpr int kMaxFindings = 32;
Finding findings[kMaxFindings];
int findingCount;  // may run past the store; the rest is only counted

thread_local bool inCycle;

void note(const char* kind, const char* name, const void* caller, long number = 0) {
    if (findingCount < kMaxFindings) findings[findingCount] = {kind, name, caller, number};
    findingCount++;
}

void noteInCycle(const char* kind, const char* name, const void* caller) {
    if (inCycle) note(kind, name, caller);
}

std::string describe(const Finding& finding) {
    std::string line = std::string(finding.kind) + ": ";
    line += finding.name ? finding.name : std::to_string(finding.number);
    Dl_info where;
    if (finding.caller && dladdr(finding.caller, &where)) {
        // a hidden function has no name here: its place in the object is for addr2line
        int status = -1;
        char* plain =
            where.dli_sname ? abi::__cxa_demangle(where.dli_sname, nullptr, nullptr, &status) : nullptr;
        char offset[32];
        std::snprintf(offset, sizeof offset, "+0x%tx",
                      static_cast<const char*>(finding.caller) - static_cast<const char*>(where.dli_fbase));
        line += " from ";
        line += plain ? plain : where.dli_sname ? where.dli_sname : where.dli_fname + std::string(offset);
        std::free(plain);
    }
    return line;
}

// ---- system calls by user dispatch: while the selector is closed, the kernel sends SIGSYS instead

// The kernel reads it at every system call until the process ends, so it must outlive everything.
volatile unsigned char selector = SYSCALL_DISPATCH_FILTER_ALLOW;
thread_local bool dispatched;  // the kernel watches one thread only: the one that asked

constexpr int kRewind =  // length of the instruction that enters the kernel, bytes; 0: not known here
#ifdef __x86_64__
    2;
#else
    0;
#endif

// Opens the selector and lets the call be made again. The rest of the scope is not watched: closing it again
// would catch the return from this handler.
void onDispatchedCall(int, siginfo_t* info, void* context) {
    selector = SYSCALL_DISPATCH_FILTER_ALLOW;
    note("system call", nullptr, nullptr, info->si_syscall);
#ifdef __x86_64__
    auto* registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    registers[REG_RAX] = info->si_syscall;
    registers[REG_RIP] -= kRewind;
#else
    (void)context;
#endif
}

void catchSigsys(void (*handler)(int, siginfo_t*, void*)) {
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSYS, &action, nullptr);
}

// 0, or the errno of the refusal.
int startDispatch() {
    if (dispatched) return 0;
    if (kRewind == 0) return ENOSYS;
    if (prctl(PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_ON, 0L, 0L, &selector) != 0) return errno;
    catchSigsys(onDispatchedCall);
    dispatched = true;
    return 0;
}

// ---- system calls by seccomp: a child in which any of them but the report and the exit ends it

int reportPipe = -1;

void onFilteredCall(int, siginfo_t* info, void*) {
    const long number = info->si_syscall;
    const ssize_t written = write(reportPipe, &number, sizeof number);
    _exit(written == sizeof number ? 0 : 1);
}

// False when the kernel refuses.
bool closeDoors() {
    const auto pipeWord = static_cast<unsigned>(reportPipe);
    sock_filter program[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_exit_group, 3, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_write, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[0])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, pipeWord, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP),
    };
    sock_fprog filter = {sizeof program / sizeof program[0], program};
    return prctl(PR_SET_NO_NEW_PRIVS, 1L, 0L, 0L, 0L) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

// What the child tells: nothing found, the number of a system call, or one of these.
constexpr long kNothing = -1, kRefused = -2, kNoReport = -3;

long firstCallInChild(const std::function<void()>& cycle) {
    int ends[2];
    if (pipe(ends) != 0) return kNoReport;
    const pid_t child = fork();
    if (child == 0) {
        reportPipe = ends[1];
        catchSigsys(onFilteredCall);
        long told = kRefused;
        if (closeDoors()) {
            try {
                cycle();
            } catch (...) {  // the run in this process tells
            }
            told = kNothing;
        }
        _exit(write(reportPipe, &told, sizeof told) == sizeof told ? 0 : 1);
    }
    close(ends[1]);
    long told = kNoReport;
    if (read(ends[0], &told, sizeof told) != sizeof told) told = kNoReport;
    close(ends[0]);
    if (child > 0) waitpid(child, nullptr, 0);
    return told;
}

// ---- which of the two

bool watchChosen;
SystemCallWatch watch;
std::string refusal;

bool tryWatch(SystemCallWatch wanted) {
    if (wanted == SystemCallWatch::kDispatch) {
        const int error = startDispatch();
        if (error) refusal += std::string("syscall user dispatch: ") + strerror(error) + "; ";
        if (error) return false;
    }
    if (wanted == SystemCallWatch::kSeccompChild) {
        const long told = firstCallInChild([] {});
        if (told != kNothing) refusal += "seccomp filter: refused; ";
        if (told != kNothing) return false;
    }
    watch = wanted;
    watchChosen = true;
    return true;
}

// ---- the functions that are forwarded to

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#ifdef __SANITIZE_ADDRESS__
// The sanitizer's allocator is not to be replaced; it tells by hooks.
void onAllocation(const volatile void*, size_t) { noteInCycle("allocation", "malloc", nullptr); }
void onRelease(const volatile void*) { noteInCycle("allocation", "free", nullptr); }
[[maybe_unused]] const int hooksInstalled =
    __sanitizer_install_malloc_and_free_hooks(onAllocation, onRelease);
#endif

}  // namespace

SystemCallWatch systemCallWatch() {
    if (!watchChosen && !tryWatch(SystemCallWatch::kDispatch) && !tryWatch(SystemCallWatch::kSeccompChild)) {
        watch = SystemCallWatch::kNone;
        watchChosen = true;
    }
    return watch;
}

std::string systemCallWatchRefusal() {
    return systemCallWatch() == SystemCallWatch::kNone ? "system calls are not watched: " + refusal : "";
}

bool useSystemCallWatch(SystemCallWatch wanted) { return tryWatch(wanted); }

InCycle::InCycle() {
    const bool closing = systemCallWatch() == SystemCallWatch::kDispatch;
    if (closing && !dispatched) note("guard", "a second thread, whose system calls are not seen", nullptr);
    inCycle = true;
    if (closing && dispatched) selector = SYSCALL_DISPATCH_FILTER_BLOCK;
}

InCycle::~InCycle() {
    selector = SYSCALL_DISPATCH_FILTER_ALLOW;
    inCycle = false;
}

std::string takeFindings() {
    std::string lines;
    const int kept = findingCount < kMaxFindings ? findingCount : kMaxFindings;
    for (int i = 0; i < kept; i++) lines += describe(findings[i]) + "\n";
    if (findingCount > kept) lines += "and " + std::to_string(findingCount - kept) + " more\n";
    findingCount = 0;
    return lines;
}

std::string guarded(const std::function<void()>& cycle) {
    findingCount = 0;
    // the child goes first, so that it starts from the same state
    if (systemCallWatch() == SystemCallWatch::kSeccompChild) {
        const long told = firstCallInChild(cycle);
        if (told >= 0) note("system call", nullptr, nullptr, told);
        if (told < kNothing) note("guard", "the child did not report", nullptr);
    }
    try {
        const InCycle scope;
        cycle();
    } catch (...) {  // noted where it was thrown
    }
    return takeFindings();
}

}  // namespace tarn::test

#define NOTE(kind, name) tarn::test::noteInCycle(kind, name, __builtin_return_address(0))

// A function of the C library, noted and forwarded. Looked up before main(), so that no cycle pays for it;
// a call that comes even earlier looks it up itself.
#define FORWARD(kind, result, name, parameters, arguments)                     \
    extern "C" result name parameters;                                         \
    static result(*real_##name) parameters;                                    \
    __attribute__((constructor)) static void resolve_##name() {                \
        real_##name = tarn::test::next<result parameters>(#name);              \
    }                                                                          \
    extern "C" __attribute__((visibility("default"))) result name parameters { \
        if (!real_##name) resolve_##name();                                    \
        NOTE(kind, #name);                                                     \
        return real_##name arguments;                                          \
    }

// clang-format off
FORWARD("lock", int, pthread_mutex_lock,       (pthread_mutex_t* m) noexcept,                       (m))
FORWARD("lock", int, pthread_mutex_trylock,    (pthread_mutex_t* m) noexcept,                       (m))
FORWARD("lock", int, pthread_mutex_timedlock,  (pthread_mutex_t* m, const timespec* t) noexcept,    (m, t))
FORWARD("lock", int, pthread_rwlock_rdlock,    (pthread_rwlock_t* l) noexcept,                      (l))
FORWARD("lock", int, pthread_rwlock_wrlock,    (pthread_rwlock_t* l) noexcept,                      (l))
FORWARD("lock", int, pthread_rwlock_tryrdlock, (pthread_rwlock_t* l) noexcept,                      (l))
FORWARD("lock", int, pthread_rwlock_trywrlock, (pthread_rwlock_t* l) noexcept,                      (l))
FORWARD("lock", int, pthread_spin_lock,        (pthread_spinlock_t* l) noexcept,                    (l))
FORWARD("lock", int, pthread_once,             (pthread_once_t* o, void (*f)()),                    (o, f))
FORWARD("lock", int, sem_wait,                 (sem_t* s),                                          (s))
FORWARD("lock", int, sem_trywait,              (sem_t* s) noexcept,                                 (s))
// clang-format on

// The two of the C++ runtime: first use of a local static, and a throw.
extern "C" {
int __cxa_guard_acquire(abi::__guard* state) {
    static int (*real)(abi::__guard*);  // constant start value: needs no guard of its own
    if (!real) real = tarn::test::next<int(abi::__guard*)>("__cxa_guard_acquire");
    NOTE("lock", "__cxa_guard_acquire");
    return real(state);
}

void __cxa_throw(void* object, std::type_info* type, void (*destroy)(void*)) {
    static void (*real)(void*, std::type_info*, void (*)(void*));
    if (!real) real = tarn::test::next<void(void*, std::type_info*, void (*)(void*))>("__cxa_throw");
    NOTE("throw", "__cxa_throw");
    real(object, type, destroy);
    __builtin_unreachable();
}
}

#ifndef __SANITIZE_ADDRESS__
extern "C" {
// The C library's allocator under the names that stay reachable.
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);

void* malloc(size_t size) {
    NOTE("allocation", "malloc");
    return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
    NOTE("allocation", "calloc");
    return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
    NOTE("allocation", "realloc");
    return __libc_realloc(block, size);
}
void* memalign(size_t alignment, size_t size) {
    NOTE("allocation", "memalign");
    return __libc_memalign(alignment, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    NOTE("allocation", "aligned_alloc");
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** block, size_t alignment, size_t size) {
    NOTE("allocation", "posix_memalign");
    *block = __libc_memalign(alignment, size);
    return *block ? 0 : ENOMEM;
}
void free(void* block) {
    NOTE("allocation", "free");
    __libc_free(block);
}
}
#endif
