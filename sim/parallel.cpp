#include "sim/parallel.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <numeric>
#include <system_error>
#include <thread>

namespace tarn::sim {
namespace {

enum Stream : std::size_t { kPrinted, kProgress, kResult, kStreams };

struct Worker {
    std::size_t job = 0;
    pid_t process = 0;
    std::array<int, kStreams> from{-1, -1, -1};  // ends of pipes; -1: at its end
    std::array<std::string, kStreams> text;
    double seconds = 0.0;  // simulated

    bool over() const {
        return std::all_of(from.begin(), from.end(), [](int end) { return end < 0; });
    }
};

// ---- in the job's process

void tell(int pipe, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(pipe, bytes, count);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return;  // nobody listens any more
        bytes += written;
        count -= static_cast<std::size_t>(written);
    }
}

[[noreturn]] void workAndExit(const Job& job, const std::array<int, kStreams>& to) {
    ::dup2(to[kPrinted], STDOUT_FILENO);
    ::dup2(to[kPrinted], STDERR_FILENO);
    int code = EXIT_FAILURE;
    try {
        const std::string result = job.work([&](double seconds) {
            tell(to[kProgress], reinterpret_cast<const char*>(&seconds), sizeof seconds);
        });
        tell(to[kResult], result.data(), result.size());
        code = EXIT_SUCCESS;
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
    }
    std::fflush(nullptr);
    ::_exit(code);  // what the starting process has registered for its exit is not this one's
}

// ---- signals

volatile std::sig_atomic_t stopSignal;
constexpr int kStops[] = {SIGINT, SIGTERM, SIGHUP};

// Takes the signals that end a program from here to its own end; they come only while `open` is the mask.
class Stops {
  public:
    Stops() {
        stopSignal = 0;
        sigset_t held;
        sigemptyset(&held);
        for (const int number : kStops) sigaddset(&held, number);
        ::sigprocmask(SIG_BLOCK, &held, &before_);
        open_ = before_;
        for (std::size_t n = 0; n < std::size(kStops); n++) {
            sigdelset(&open_, kStops[n]);
            struct sigaction take = {};
            take.sa_handler = [](int number) { stopSignal = number; };
            ::sigaction(kStops[n], &take, &actions_[n]);
            // in the background of a script and under nohup they are ignored on purpose
            if (actions_[n].sa_handler == SIG_IGN) ::sigaction(kStops[n], &actions_[n], nullptr);
        }
    }
    ~Stops() {
        for (std::size_t n = 0; n < std::size(kStops); n++) ::sigaction(kStops[n], &actions_[n], nullptr);
        ::sigprocmask(SIG_SETMASK, &before_, nullptr);
    }
    Stops(const Stops&) = delete;
    Stops& operator=(const Stops&) = delete;

    const sigset_t& open() const { return open_; }

    // A terminal sends them to the jobs, too: the starting process ends those, not each itself, or a job that
    // is told to stop would count as a broken one.
    void leaveToParent() const {
        for (const int number : kStops) std::signal(number, SIG_IGN);
        ::sigprocmask(SIG_SETMASK, &open_, nullptr);
    }

  private:
    sigset_t before_, open_;
    std::array<struct sigaction, std::size(kStops)> actions_{};
};

// ---- in the starting process

class Progressing {
  public:
    Progressing(const std::vector<Job>& jobs, const std::vector<Worker>& workers)
        : jobs_(jobs), workers_(workers), terminal_(::isatty(STDERR_FILENO) == 1) {}

    void show() {
        const auto now = Clock::now();
        if (!terminal_ || now - shown_ < kInterval) return;
        shown_ = now;
        std::string line = fmt::format("{}/{} done", done_, jobs_.size());
        const char* separator = ": ";
        for (const Worker& worker : workers_) {
            line += fmt::format("{}{} {:.1f} s", separator, jobs_[worker.job].name, worker.seconds);
            separator = ", ";
        }
        winsize size{};
        if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) size.ws_col = 80;
        line.resize(std::min<std::size_t>(line.size(), size.ws_col - 1u));
        fmt::print(stderr, "\r\033[K{}", line);
        std::fflush(stderr);
    }
    void hide() {
        if (terminal_) fmt::print(stderr, "\r\033[K");
        shown_ = {};
    }
    void ended(std::size_t job, const std::string& word) {
        done_++;
        if (!terminal_) fmt::print(stderr, "{}/{} {}: {}\n", done_, jobs_.size(), jobs_[job].name, word);
    }

  private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds kInterval{100};
    const std::vector<Job>& jobs_;
    const std::vector<Worker>& workers_;
    const bool terminal_;
    std::size_t done_ = 0;
    Clock::time_point shown_{};
};

void closeAll(std::array<int, kStreams>& ends) {
    for (int& end : ends) {
        if (end >= 0) ::close(end);
        end = -1;
    }
}

Worker startJob(const std::vector<Job>& jobs, std::size_t job, const std::vector<Worker>& others,
                const Stops& stops) {
    Worker worker;
    worker.job = job;
    std::array<int, kStreams> to{-1, -1, -1};
    const auto give = [&](const char* what) {
        const int error = errno;
        closeAll(worker.from);
        closeAll(to);
        throw std::system_error(error, std::generic_category(), what);
    };
    for (std::size_t n = 0; n < kStreams; n++) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) give("no pipe for another job");
        worker.from[n] = ends[0];
        to[n] = ends[1];
    }
    std::fflush(nullptr);  // or the job would print again what waits
    const pid_t parent = ::getpid();
    worker.process = ::fork();
    if (worker.process < 0) give("no process for another job");
    if (worker.process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(EXIT_FAILURE);  // it ended in between
        stops.leaveToParent();
        closeAll(worker.from);
        for (const Worker& other : others) {
            for (const int end : other.from)
                if (end >= 0) ::close(end);
        }
        workAndExit(jobs[job], to);
    }
    closeAll(to);
    return worker;
}

void listen(Worker& worker, std::size_t stream) {
    char bytes[65536];
    const ssize_t count = ::read(worker.from[stream], bytes, sizeof bytes);
    if (count < 0 && errno == EINTR) return;
    if (count <= 0) {
        ::close(worker.from[stream]);
        worker.from[stream] = -1;
        return;
    }
    std::string& text = worker.text[stream];
    text.append(bytes, static_cast<std::size_t>(count));
    if (stream != kProgress) return;
    const std::size_t whole = text.size() / sizeof worker.seconds * sizeof worker.seconds;
    if (whole == 0) return;
    std::memcpy(&worker.seconds, text.data() + whole - sizeof worker.seconds, sizeof worker.seconds);
    text.erase(0, whole);
}

JobEnd endOf(Worker& worker) {
    int status = 0;
    while (::waitpid(worker.process, &status, 0) < 0 && errno == EINTR) {
    }
    JobEnd end;
    end.printed = std::move(worker.text[kPrinted]);
    end.finished = WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
    if (end.finished) {
        end.result = std::move(worker.text[kResult]);
    } else if (WIFSIGNALED(status)) {
        end.reason = fmt::format("signal {} ({})", WTERMSIG(status), ::strsignal(WTERMSIG(status)));
    } else {
        end.reason = fmt::format("exit code {}", WEXITSTATUS(status));
    }
    return end;
}

class Pool {
  public:
    Pool(const std::vector<Job>& jobs, std::size_t most) : jobs_(jobs), most_(most) {
        waiting_.resize(jobs.size());
        std::iota(waiting_.begin(), waiting_.end(), std::size_t{0});
        // taken from the end: there the longest, of equal ones the first
        std::reverse(waiting_.begin(), waiting_.end());
        std::stable_sort(waiting_.begin(), waiting_.end(),
                         [&](std::size_t a, std::size_t b) { return jobs_[a].length < jobs_[b].length; });
    }
    ~Pool() {
        for (const Worker& worker : workers_) ::kill(worker.process, SIGKILL);
        for (Worker& worker : workers_) {
            endOf(worker);
            closeAll(worker.from);
        }
    }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    int run(const std::function<std::string(std::size_t, const JobEnd&)>& ended) {
        Progressing progress(jobs_, workers_);
        while (!waiting_.empty() || !workers_.empty()) {
            while (!waiting_.empty() && workers_.size() < most_) {
                workers_.push_back(startJob(jobs_, waiting_.back(), workers_, stops_));
                waiting_.pop_back();
            }
            progress.show();
            wait();
            if (stopSignal != 0) {
                progress.hide();
                return stopSignal;
            }
            for (std::size_t n = workers_.size(); n-- > 0;) {
                if (!workers_[n].over()) continue;
                Worker worker = std::move(workers_[n]);
                workers_.erase(workers_.begin() + static_cast<std::ptrdiff_t>(n));
                const JobEnd end = endOf(worker);
                progress.hide();
                progress.ended(worker.job, ended(worker.job, end));
            }
        }
        return 0;
    }

  private:
    // Until a job says something, a signal comes or the progress is due.
    void wait() {
        std::vector<pollfd> polled;
        for (const Worker& worker : workers_)
            for (const int end : worker.from) polled.push_back({end, POLLIN, 0});  // -1 is passed over
        const timespec longest{0, 200'000'000};
        if (::ppoll(polled.data(), polled.size(), &longest, &stops_.open()) <= 0) return;
        for (std::size_t n = 0; n < polled.size(); n++)
            if (polled[n].revents != 0) listen(workers_[n / kStreams], n % kStreams);
    }

    const std::vector<Job>& jobs_;
    const std::size_t most_;
    const Stops stops_;
    std::vector<std::size_t> waiting_;
    std::vector<Worker> workers_;
};

}  // namespace

int processors() { return static_cast<int>(std::max(1u, std::thread::hardware_concurrency())); }

int runJobs(const std::vector<Job>& jobs, int workers,
            const std::function<std::string(std::size_t job, const JobEnd& end)>& ended) {
    return Pool(jobs, static_cast<std::size_t>(std::max(1, workers))).run(ended);
}

}  // namespace tarn::sim
