#include <atomic>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <csignal>

#include "support/scratch_folder.h"
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

// Two writers outrun the log writer: each line whole and in its writer's order, each missing one told.
TEST(LogWriter, ThatIsOutrunTellsHowMany) {
    constexpr int kLines = 500000;
    std::atomic<int> halfway = 0, received = 0;
    int last[2] = {-1, -1}, lost = 0, torn = 0;
    ASSERT_TRUE(startLogWriter([&](int severity, const char* line) {
        while (halfway < 2) std::this_thread::yield();  // for as long the ring is full
        int writer, number, again, lines;
        if (std::sscanf(line, "%d %d %*[.] %d", &writer, &number, &again) == 3) {
            torn += writer != severity || number != again || number <= last[writer];
            last[writer] = number;
            received++;
        } else if (std::sscanf(line, "%d lines lost", &lines) == 1 && severity == LOG_WARN) {
            lost += lines;
        } else {
            torn++;
        }
    }));
    EXPECT_FALSE(startLogWriter("/dev/null"));  // one at a time
    const std::string dots(200, '.');
    std::vector<std::thread> writers;
    for (int w = 0; w < 2; w++)
        writers.emplace_back([&, w] {
            for (int i = 0; i < kLines; i++) {
                if (i == kLines / 2) halfway++;
                while (i >= kLines / 2 && received < RINGBUF_SIZE) std::this_thread::yield();
                Write_Log(w, "%d %d %s %d", w, i, dots.c_str(), i);
            }
        });
    for (std::thread& writer : writers) writer.join();
    stopLogWriter();
    EXPECT_EQ(torn, 0);
    EXPECT_GT(received, RINGBUF_SIZE);
    EXPECT_GT(lost, 0);
    EXPECT_EQ(received + lost, 2 * kLines);
}

TEST(LogWriter, AppendsToItsFile) {
    const fixture::ScratchFolder scratch;
    const std::string path = scratch.path / "log";
    std::ofstream(path) << "before\n";
    for (const char* text : {"first\n", "second"}) {
        ASSERT_TRUE(startLogWriter(path, std::chrono::hours(1)));  // all of it is left for the stop
        Write_Log(LOG_ERR, "%s", text);
        stopLogWriter();
    }
    std::ifstream in(path);
    std::string line, time, severity;
    std::getline(in, line);
    EXPECT_EQ(line, "before");
    for (const char* want : {"first", "second"}) {
        in >> time >> severity >> line;
        EXPECT_EQ(time.size(), std::string("2000-01-01T00:00:00.000Z").size()) << time;
        EXPECT_EQ(severity, "ERROR");
        EXPECT_EQ(line, want);
    }
    EXPECT_FALSE(in >> line);
    EXPECT_FALSE(startLogWriter("/no/such/folder/log"));
}

TEST(LogWriter, TellsWhatAFullDiskRefused) {
    const fixture::ScratchFolder scratch;
    const std::string path = scratch.path / "log";
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited;
    getrlimit(RLIMIT_FSIZE, &unlimited);
    const rlimit full = {100, unlimited.rlim_max};
    ASSERT_TRUE(startLogWriter(path, std::chrono::milliseconds(1)));
    setrlimit(RLIMIT_FSIZE, &full);
    for (int i = 0; i < 10; i++) Write_Log(LOG_INFO, "line %d", i);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    setrlimit(RLIMIT_FSIZE, &unlimited);
    Write_Log(LOG_INFO, "after");
    stopLogWriter();

    std::ifstream in(path);
    int lines = 0, lost = 0;
    for (std::string line; std::getline(in, line); lines++)
        if (std::sscanf(line.c_str(), "%*s WARN %d lines lost", &lost) == 1) lines--;
    EXPECT_GT(lost, 0);
    EXPECT_EQ(lines + lost, 11);
}
