#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tarnhost/log.h"
#include "tarntools/tools_log.h"

using namespace tarn::host;

TEST(Log, FullRingDropsTheNewestAndCountsThem) {
    for (int round = 0; round < 3; round++) {
        for (int i = 0; i < RINGBUF_SIZE + 5; i++) Write_Log(LOG_INFO, "line %d", i);
        EXPECT_EQ(takeDroppedLogLines(), 5);
        int next = 0;
        EXPECT_EQ(drainLog([&next](int severity, const char* line) {
                      EXPECT_EQ(severity, LOG_INFO);
                      EXPECT_EQ(line, "line " + std::to_string(next++));
                  }),
                  RINGBUF_SIZE);
        EXPECT_EQ(drainLog([](int, const char*) { FAIL(); }), 0);
    }
}

TEST(Log, WritersOnManyThreadsLoseNothingUncounted) {
    constexpr int kWriters = 4, kEnough = 20000;  // lines, ten rounds of the ring
    std::atomic<int> received = 0, written = 0;
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; w++)
        writers.emplace_back([&, w] {
            int i = 0;
            for (; received < kEnough; i++) Write_Log(w, "%d %d", w, i);
            written += i;
        });
    int last[kWriters] = {-1, -1, -1, -1};
    const auto sink = [&](int severity, const char* line) {
        int writer = -1, number = -1;
        EXPECT_EQ(std::sscanf(line, "%d %d", &writer, &number), 2) << line;
        EXPECT_EQ(writer, severity);
        EXPECT_GT(number, last[severity]);  // in the writer's order
        last[severity] = number;
        received++;
    };
    while (received < kEnough) drainLog(sink);
    for (std::thread& writer : writers) writer.join();
    drainLog(sink);
    EXPECT_EQ(received + takeDroppedLogLines(), written);
}
