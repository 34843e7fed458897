#include "support/cycle_guard.h"

#include <dlfcn.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <typeinfo>
#include <utility>

// The watched functions below replace the C library's: the program's own definitions come first in the
// search order of the dynamic linker, for the program as for every shared object that it loads.

namespace tarn::test {
namespace {

// ---- what was found; plain storage, since it is written where nothing may be allocated

char findings[4000];
std::size_t used;  // characters
thread_local bool inCycle;

__attribute__((format(printf, 1, 2))) void tell(const char* format, ...) {
    va_list values;
    va_start(values, format);
    const int length = std::vsnprintf(findings + used, sizeof findings - used, format, values);
    used = std::min(used + static_cast<std::size_t>(length), sizeof findings - 1);
    va_end(values);
}

void note(const char* kind, const char* name, const void* caller) {
    if (!inCycle) return;
    Dl_info at = {};
    // a hidden function has no name here: its place in the object is for addr2line
    if (caller && dladdr(caller, &at))
        tell("%s: %s from %s in %s+0x%tx\n", kind, name, at.dli_sname ? at.dli_sname : "?", at.dli_fname,
             static_cast<const char*>(caller) - static_cast<const char*>(at.dli_fbase));
    else
        tell("%s: %s\n", kind, name);
}

void catchSigsys(void (*handler)(int, siginfo_t*, void*)) {
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSYS, &action, nullptr);
}

// ---- system calls by user dispatch: while the selector is closed, the kernel sends SIGSYS instead

// The kernel reads it at every system call until the process ends, so it must outlive everything.
volatile unsigned char selector = SYSCALL_DISPATCH_FILTER_ALLOW;

// Opens the selector and lets the call be made again. The rest of the scope is not watched: closing it again
// would catch the return from this handler.
void onDispatchedCall(int, siginfo_t* info, [[maybe_unused]] void* context) {
    selector = SYSCALL_DISPATCH_FILTER_ALLOW;
    tell("system call: %d\n", info->si_syscall);
#ifdef __x86_64__
    auto* registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    registers[REG_RAX] = info->si_syscall;
    registers[REG_RIP] -= 2;  // bytes of the instruction that enters the kernel
#endif
}

// 0, or the errno of the refusal. Each thread asks for itself.
int startDispatch() {
#ifdef __x86_64__
    thread_local bool started;
    if (started) return 0;
    if (prctl(PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_ON, 0L, 0L, &selector) != 0) return errno;
    catchSigsys(onDispatchedCall);
    started = true;
    return 0;
#else
    return ENOSYS;  // how to make the call again is not known here
#endif
}

// ---- system calls by seccomp: a child in which any of them but the exit ends it

constexpr long kNothing = -1, kNoReport = -2;
volatile long* firstCall;  // what the child tells: the number of a system call, or one of these

void onFilteredCall(int, siginfo_t* info, void*) {
    // after the cycle's end the runtime of a sanitizer may still make some
    if (*firstCall == kNoReport) *firstCall = info->si_syscall;
    _exit(0);
}

long firstCallInChild(const std::function<void()>& cycle) {
    if (!firstCall) {
        void* shared = mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (shared == MAP_FAILED) return kNoReport;
        firstCall = static_cast<volatile long*>(shared);
    }
    *firstCall = kNoReport;
    const pid_t child = fork();
    if (child == 0) {
        catchSigsys(onFilteredCall);
        sock_filter program[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_exit_group, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP),
        };
        sock_fprog filter = {std::size(program), program};
        if (prctl(PR_SET_NO_NEW_PRIVS, 1L, 0L, 0L, 0L) == 0 &&
            prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0) {
            try {
                cycle();
            } catch (...) {  // the run in this process tells
            }
            *firstCall = kNothing;
        }
        _exit(0);
    }
    if (child > 0) waitpid(child, nullptr, 0);
    return *firstCall;
}

}  // namespace

bool isToBeHad(SystemCallWatch watch) {
    if (watch == SystemCallWatch::kDispatch) return startDispatch() == 0;
    static const bool child = firstCallInChild([] {}) == kNothing;
    return watch == SystemCallWatch::kSeccompChild && child;
}

SystemCallWatch systemCallWatch() {
    for (SystemCallWatch watch : {SystemCallWatch::kDispatch, SystemCallWatch::kSeccompChild})
        if (isToBeHad(watch)) return watch;
    return SystemCallWatch::kNone;
}

std::string systemCallWatchRefusal() {
    return std::string("system calls are not watched: no seccomp filter; no syscall user dispatch: ") +
           strerror(startDispatch());
}

std::string guarded(const std::function<void()>& cycle, SystemCallWatch watch) {
    // the child goes first, so that it starts from the same state
    if (watch == SystemCallWatch::kSeccompChild) {
        const long call = firstCallInChild(cycle);
        if (call >= 0) tell("system call: %ld\n", call);
        if (call == kNoReport) tell("guard: the child did not report\n");
    }
    const bool dispatch = watch == SystemCallWatch::kDispatch && isToBeHad(watch);
    inCycle = true;
    if (dispatch) selector = SYSCALL_DISPATCH_FILTER_BLOCK;
    try {
        cycle();
    } catch (...) {  // noted where it was thrown
    }
    selector = SYSCALL_DISPATCH_FILTER_ALLOW;
    inCycle = false;
    return {findings, std::exchange(used, 0)};
}

}  // namespace tarn::test

// A watched function: noted, then forwarded. This file is built without guards of local statics, which would
// be watched themselves.
#define WATCH(kind, result, name, parameters, arguments, target)    \
    extern "C" result name parameters {                             \
        static result(*const forward) parameters = target;          \
        tarn::test::note(kind, #name, __builtin_return_address(0)); \
        return forward arguments;                                   \
    }
#define NEXT(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))
#define WATCH_LOCK(name, parameters, arguments) WATCH("lock", int, name, parameters, arguments, NEXT(name))

// clang-format off
WATCH_LOCK(pthread_mutex_lock,       (pthread_mutex_t* m) noexcept,                    (m))
WATCH_LOCK(pthread_mutex_trylock,    (pthread_mutex_t* m) noexcept,                    (m))
WATCH_LOCK(pthread_mutex_timedlock,  (pthread_mutex_t* m, const timespec* t) noexcept, (m, t))
WATCH_LOCK(pthread_rwlock_rdlock,    (pthread_rwlock_t* l) noexcept,                   (l))
WATCH_LOCK(pthread_rwlock_wrlock,    (pthread_rwlock_t* l) noexcept,                   (l))
WATCH_LOCK(pthread_rwlock_tryrdlock, (pthread_rwlock_t* l) noexcept,                   (l))
WATCH_LOCK(pthread_rwlock_trywrlock, (pthread_rwlock_t* l) noexcept,                   (l))
WATCH_LOCK(pthread_spin_lock,        (pthread_spinlock_t* l) noexcept,                 (l))
WATCH_LOCK(pthread_once,             (pthread_once_t* o, void (*f)()),                 (o, f))
WATCH_LOCK(sem_wait,                 (sem_t* s),                                       (s))
WATCH_LOCK(sem_trywait,              (sem_t* s) noexcept,                              (s))

// the two of the C++ runtime: first use of a local static, and a throw
WATCH_LOCK(__cxa_guard_acquire,      (long long* state),                               (state))
WATCH("throw", void, __cxa_throw, (void* object, std::type_info* type, void (*destroy)(void*)),
      (object, type, destroy), NEXT(__cxa_throw))

#ifdef __SANITIZE_ADDRESS__
// The sanitizer's allocator is not to be replaced; it tells by hooks. As in the compiler's
// <sanitizer/allocator_interface.h>, which not every g++ package brings.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, size_t),
                                                         void (*onFree)(const volatile void*));
[[maybe_unused]] static const int hooks = __sanitizer_install_malloc_and_free_hooks(
    [](const volatile void*, size_t) { tarn::test::note("allocation", "malloc", nullptr); },
    [](const volatile void*) { tarn::test::note("allocation", "free", nullptr); });
#else
// The C library's allocator under the names that stay reachable.
#define WATCH_ALLOCATION(result, name, target, parameters, arguments) \
    extern "C" result target parameters;                              \
    WATCH("allocation", result, name, parameters, arguments, target)
WATCH_ALLOCATION(void*, malloc,        __libc_malloc,   (size_t size),                   (size))
WATCH_ALLOCATION(void*, calloc,        __libc_calloc,   (size_t count, size_t size),     (count, size))
WATCH_ALLOCATION(void*, realloc,       __libc_realloc,  (void* block, size_t size),      (block, size))
WATCH_ALLOCATION(void*, memalign,      __libc_memalign, (size_t alignment, size_t size), (alignment, size))
WATCH_ALLOCATION(void*, aligned_alloc, __libc_memalign, (size_t alignment, size_t size), (alignment, size))
WATCH_ALLOCATION(void,  free,          __libc_free,     (void* block),                   (block))
static int alignedBlock(void** block, size_t alignment, size_t size) {
    *block = __libc_memalign(alignment, size);
    return *block ? 0 : ENOMEM;
}
WATCH("allocation", int, posix_memalign, (void** block, size_t alignment, size_t size), (block, alignment, size),
      alignedBlock)
#endif
// clang-format on
