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

bool isToBeHad(SystemCallWatch watch);  // here, for the calling thread
SystemCallWatch systemCallWatch();      // the first that is to be had
std::string systemCallWatchRefusal();   // why it is kNone, for the message of a skipped test

// Runs `cycle` inside the guard. Empty when nothing was found, else one line each in order of appearance:
// "allocation: malloc from tarn::f", "lock: pthread_mutex_lock from ...", "throw: ...", "system call: 39".
// Of system calls only the first is told. An exception of `cycle` ends here.
[[nodiscard]] std::string guarded(const std::function<void()>& cycle,
                                  SystemCallWatch watch = systemCallWatch());

}  // namespace tarn::test
