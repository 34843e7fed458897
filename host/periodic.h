// A thread of the host for work that the cycle must not do.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <stop_token>
#include <thread>
#include <utility>

#include <pthread.h>

namespace tarn::host {

// Does the work once a period, and once more when it is stopped. The thread drops a real-time priority that
// it would have from its starter.
inline std::jthread startPeriodic(std::chrono::milliseconds period, std::function<void()> work) {
    return std::jthread([period, work = std::move(work)](const std::stop_token& stop) {
        const sched_param ordinary = {};
        pthread_setschedparam(pthread_self(), SCHED_OTHER, &ordinary);
        std::mutex mutex;
        std::condition_variable_any wake;
        std::unique_lock lock(mutex);
        for (bool last = false; !last;) {
            last = stop.stop_requested();
            try {
                work();
            } catch (const std::exception&) {  // out of memory: again next time
            }
            wake.wait_for(lock, stop, period, [] { return false; });
        }
    });
}

}  // namespace tarn::host
