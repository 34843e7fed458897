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

using namespace tarn::test;

namespace {

// Keeps the compiler from dropping a block that nobody uses.
template <class T>
T* kept(T* block) {
    asm volatile("" : "+r"(block) : : "memory");
    return block;
}

std::mutex mutex;
pthread_rwlock_t rwlock = PTHREAD_RWLOCK_INITIALIZER;
pthread_once_t once = PTHREAD_ONCE_INIT;

TEST(CycleGuard, NamesAllocationsLocksAndThrows) {
    const struct {
        const char* expected;  // told among the findings
        void (*slip)();
    } rows[] = {
        {"allocation: malloc", [] { std::free(kept(std::malloc(8))); }},
        {"allocation: free", [] { std::free(kept(std::malloc(8))); }},
        {"allocation: malloc", [] { delete kept(new double(1.0)); }},
        {"allocation: ",
         [] { ::operator delete(kept(::operator new(64, std::align_val_t(64))), std::align_val_t(64)); }},
        {"allocation: malloc", [] { std::string text(100, *kept("x")); }},
        {"lock: pthread_mutex_lock", [] { std::lock_guard hold(mutex); }},
        {"lock: pthread_mutex_trylock", [] { (void)(mutex.try_lock() && (mutex.unlock(), true)); }},
        {"lock: pthread_rwlock_rdlock",
         [] { pthread_rwlock_rdlock(&rwlock), pthread_rwlock_unlock(&rwlock); }},
        {"lock: pthread_rwlock_wrlock",
         [] { pthread_rwlock_wrlock(&rwlock), pthread_rwlock_unlock(&rwlock); }},
        {"lock: pthread_once", [] { pthread_once(&once, [] {}); }},
        {"lock: __cxa_guard_acquire",
         [] {
             static const int builtOnFirstUse = *kept(&errno);
             (void)builtOnFirstUse;
         }},
        {"throw: __cxa_throw", [] { throw std::runtime_error("in the cycle"); }},
    };
    for (const auto& row : rows) {
        const std::string found = guarded(row.slip);
        EXPECT_NE(found.find(row.expected), std::string::npos) << row.expected << " is not in: " << found;
        EXPECT_EQ(guarded([] {}), "") << "findings of one scope must not reach the next";
    }
}

class EachWatch : public testing::TestWithParam<SystemCallWatch> {};

TEST_P(EachWatch, TellsSystemCallsByNumber) {
    if (!isToBeHad(GetParam())) GTEST_SKIP() << "this way of watching is refused here";
    const struct {
        long number;
        void (*make)();
    } rows[] = {
        {SYS_write, [] { (void)!write(STDERR_FILENO, "", 0); }},
        {SYS_clock_nanosleep, [] { usleep(1); }},
        {SYS_sched_yield, [] { std::this_thread::yield(); }},
        {SYS_getppid, [] { (void)getppid(); }},
        {SYS_mmap, [] { munmap(mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0), 4096); }},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(guarded(row.make, GetParam()), "system call: " + std::to_string(row.number) + "\n");
        EXPECT_EQ(guarded([] {}, GetParam()), "");
        row.make();  // free to be made outside
    }
    std::string found;
    std::thread([&] { found = guarded(rows[3].make, GetParam()); }).join();
    EXPECT_EQ(found, "system call: " + std::to_string(SYS_getppid) + "\n") << "on a second thread";
}

INSTANTIATE_TEST_SUITE_P(CycleGuard, EachWatch,
                         testing::Values(SystemCallWatch::kDispatch, SystemCallWatch::kSeccompChild));

TEST(CycleGuard, LetsTheCallThroughWithItsResult) {
    const pid_t parent = getppid();
    pid_t seen = 0;
    int badFile = 0;
    (void)guarded([&] {
        seen = getppid();
        badFile = close(-1) == -1 ? errno : 0;
    });
    EXPECT_EQ(seen, parent);
    EXPECT_EQ(badFile, EBADF);
}

TEST(CycleGuard, KeepsWithinItsStore) {
    const std::string found = guarded([] {
        for (int i = 0; i < 1000; i++) std::free(kept(std::malloc(8)));
    });
    EXPECT_EQ(found.find("allocation: malloc"), 0u) << found;
}

}  // namespace
