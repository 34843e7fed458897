// The guard must be seen to catch: each kind of slip is planted once and has to be named.
#include "support/cycle_guard.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>

using namespace tarn::test;

namespace {

// Keeps the compiler from dropping a block that nobody uses.
template <class T>
T* kept(T* block) {
    asm volatile("" : "+r"(block) : : "memory");
    return block;
}

struct BuiltOnFirstUse {
    BuiltOnFirstUse() : value(getpagesize()) {}
    int value;
};

int firstUse() {
    static BuiltOnFirstUse object;
    return object.value;
}

struct Slip {
    const char* name;      // of the case
    const char* expected;  // told among the findings
    void (*make)();
};
void PrintTo(const Slip& slip, std::ostream* out) { *out << slip.name; }

std::mutex mutex;
pthread_rwlock_t rwlock = PTHREAD_RWLOCK_INITIALIZER;
pthread_once_t once = PTHREAD_ONCE_INIT;

const Slip kSlips[] = {
    {"Malloc", "allocation: malloc", [] { std::free(kept(std::malloc(8))); }},
    {"Free", "allocation: free", [] { std::free(kept(std::malloc(8))); }},
    {"New", "allocation: malloc", [] { delete kept(new double(1.0)); }},
    {"NewAligned", "allocation: ",
     [] { ::operator delete(kept(::operator new(64, std::align_val_t(64))), std::align_val_t(64)); }},
    {"LongString", "allocation: malloc",
     [] {
         std::string text(100, 'x');
         kept(&text);
     }},
    {"Mutex", "lock: pthread_mutex_lock", [] { std::lock_guard hold(mutex); }},
    {"MutexTried", "lock: pthread_mutex_trylock", [] { (void)(mutex.try_lock() && (mutex.unlock(), true)); }},
    {"ReadLock", "lock: pthread_rwlock_rdlock",
     [] { pthread_rwlock_rdlock(&rwlock), pthread_rwlock_unlock(&rwlock); }},
    {"WriteLock", "lock: pthread_rwlock_wrlock",
     [] { pthread_rwlock_wrlock(&rwlock), pthread_rwlock_unlock(&rwlock); }},
    {"Once", "lock: pthread_once", [] { pthread_once(&once, [] {}); }},
    {"LocalStatic", "lock: __cxa_guard_acquire", [] { (void)firstUse(); }},
    {"Throw", "throw: __cxa_throw", [] { throw std::runtime_error("in the cycle"); }},
};

class Planted : public testing::TestWithParam<Slip> {};

TEST_P(Planted, IsNamed) {
    const std::string found = guarded(GetParam().make);
    EXPECT_NE(found.find(GetParam().expected), std::string::npos) << "found: " << found;
    EXPECT_EQ(guarded([] {}), "") << "findings of one scope must not reach the next";
}

INSTANTIATE_TEST_SUITE_P(CycleGuard, Planted, testing::ValuesIn(kSlips),
                         [](const auto& test) { return std::string(test.param.name); });

// System calls, by both ways of seeing them.
struct Call {
    const char* name;
    long number;
    void (*make)();
};
void PrintTo(const Call& call, std::ostream* out) { *out << call.name; }

const Call kCalls[] = {
    {"Write", SYS_write, [] { (void)!write(STDERR_FILENO, "", 0); }},
    {"Sleep", SYS_clock_nanosleep, [] { usleep(1); }},
    {"Yield", SYS_sched_yield, [] { std::this_thread::yield(); }},
    {"ProcessId", SYS_getppid, [] { (void)getppid(); }},
    {"MapMemory", SYS_mmap,
     [] {
         void* pages = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
         munmap(pages, 4096);
     }},
};

class PlantedCall : public testing::TestWithParam<std::tuple<SystemCallWatch, Call>> {};

TEST_P(PlantedCall, IsToldByNumber) {
    const auto& [watch, call] = GetParam();
    if (!useSystemCallWatch(watch)) GTEST_SKIP() << "this way of watching is refused here";
    EXPECT_EQ(guarded(call.make), "system call: " + std::to_string(call.number) + "\n");
    EXPECT_EQ(guarded([] {}), "");
    call.make();  // free to be made outside
}

INSTANTIATE_TEST_SUITE_P(CycleGuard, PlantedCall,
                         testing::Combine(testing::Values(SystemCallWatch::kDispatch,
                                                          SystemCallWatch::kSeccompChild),
                                          testing::ValuesIn(kCalls)),
                         [](const auto& test) {
                             const bool dispatch = std::get<0>(test.param) == SystemCallWatch::kDispatch;
                             return std::string(dispatch ? "Dispatch" : "SeccompChild") +
                                    std::get<1>(test.param).name;
                         });

TEST(CycleGuard, LetsTheCallThroughWithItsResult) {
    if (!useSystemCallWatch(SystemCallWatch::kDispatch)) GTEST_SKIP() << "dispatch is refused here";
    const pid_t parent = getppid();
    pid_t seen = 0;
    int badFile = 0;
    EXPECT_NE(guarded([&] {
                  seen = getppid();
                  badFile = close(-1) == -1 ? errno : 0;
              }),
              "");
    EXPECT_EQ(seen, parent);
    EXPECT_EQ(badFile, EBADF);
}

TEST(CycleGuard, KeepsStillOutsideItsScope) {
    { const InCycle scope; }
    std::free(kept(std::malloc(100)));
    { std::lock_guard hold(mutex); }
    (void)getppid();
    EXPECT_EQ(takeFindings(), "");
}

TEST(CycleGuard, TellsASecondThreadWhoseCallsItCannotSee) {
    if (!useSystemCallWatch(SystemCallWatch::kDispatch)) GTEST_SKIP() << "dispatch is refused here";
    std::string found;
    std::thread([&] { found = guarded([] {}); }).join();
    EXPECT_NE(found.find("second thread"), std::string::npos) << found;
}

TEST(CycleGuard, CountsPastItsStore) {
    const std::string found = guarded([] {
        for (int i = 0; i < 100; i++) std::free(kept(std::malloc(8)));
    });
    EXPECT_NE(found.find(" more\n"), std::string::npos) << found;
}

}  // namespace
