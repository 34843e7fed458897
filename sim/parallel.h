// Jobs side by side, each in a process of its own. The blocks and the library's state are the process's own,
// so two arms at once take two processes; and since each starts from the same untouched state, what a job
// gives does not depend on the jobs before or beside it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tarn::sim {

using Progress = std::function<void(double seconds)>;  // simulated

struct Job {
    std::string name;
    double length = 0.0;  // simulated seconds, about: the longest begin first
    // Runs in its own process; what it answers is the result. An exception is the end of a broken job.
    std::function<std::string(const Progress& progress)> work;
};

struct JobEnd {
    bool finished = false;  // else it threw or crashed, and there is no result
    std::string result;
    std::string printed;  // to its standard output and error
    std::string reason;   // of a broken job: "signal 11 (Segmentation fault)", "exit code 1"
};

int processors();  // that this process may use

// Runs the jobs, `workers` at a time. As each ends, `ended` is called in this process and answers a word on
// it. Progress goes to the standard error: a line that changes on a terminal, else a line for each job.
//
// SIGINT, SIGTERM and SIGHUP end all jobs: the answer is the signal, else 0. No job outlives this process.
int runJobs(const std::vector<Job>& jobs, int workers,
            const std::function<std::string(std::size_t job, const JobEnd& end)>& ended);

}  // namespace tarn::sim
