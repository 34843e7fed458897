// Sees what a real-time cycle must not do: allocate, lock, throw, or enter the kernel.
//
// Link the target `cycle_guard` into the test program (it brings its own malloc and lock functions, which
// forward to the C library's) and run the code under test through guarded():
//
//     EXPECT_EQ(guarded([&] { gravityTorqueControl(&q); }), "");
//     if (systemCallWatch() == SystemCallWatch::kNone) GTEST_SKIP() << systemCallWatchRefusal();
#pragma once

#include <functional>
#include <string>

namespace tarn::test {

// How system calls are seen. Allocations, locks and throws are always seen.
enum class SystemCallWatch {
    kDispatch,      // in this process, by the kernel's syscall user dispatch
    kSeccompChild,  // in a forked child under a seccomp filter; the code then runs a second time here
    kNone,          // neither is to be had, for example under user-mode emulation
};

SystemCallWatch systemCallWatch();
std::string systemCallWatchRefusal();  // why it is kNone, for the message of a skipped test

// Takes this watch from now on, for tests of the guard itself. False when it is not to be had here.
[[nodiscard]] bool useSystemCallWatch(SystemCallWatch watch);

// Runs `cycle` inside the guard. Empty when nothing was found, else one line each in order of appearance:
// "allocation: malloc from tarn::f", "lock: pthread_mutex_lock from ...", "throw: ...", "system call: 39".
// Of system calls only the first is told. An exception of `cycle` ends here.
[[nodiscard]] std::string guarded(const std::function<void()>& cycle);

// Marks its scope as inside the cycle, on one thread. guarded() is made of it; on its own it serves where a
// test must not leave its function. It does not fall back to a child.
class InCycle {
  public:
    InCycle();
    ~InCycle();
    InCycle(const InCycle&) = delete;
    InCycle& operator=(const InCycle&) = delete;
};

// What was found since the last call, in the form that guarded() gives.
[[nodiscard]] std::string takeFindings();

}  // namespace tarn::test
