// Makes a given number of calls of one workload, for a tool that counts instructions from outside.
// Without arguments it lists the workloads: name, and its reference or "-".
#include <charconv>
#include <cstdio>
#include <cstring>
#include <system_error>

#include "workloads.h"

using namespace tarn::bench;

int main(int argc, char** argv) {
    if (argc != 3) {
        for (const Workload& workload : workloads()) {
            std::printf("%s %s\n", workload.name.c_str(),
                        workload.reference.empty() ? "-" : workload.reference.c_str());
        }
        return argc == 1 ? 0 : 2;
    }
    for (const Workload& workload : workloads()) {
        if (workload.name != argv[1]) continue;
        workload.prepare(workload.robotType);
        int calls = 0;
        const char* end = argv[2] + std::strlen(argv[2]);
        const auto [rest, fault] = std::from_chars(argv[2], end, calls);
        if (fault != std::errc() || rest != end) {
            std::fprintf(stderr, "no number of calls: %s\n", argv[2]);
            return 2;
        }
        for (int i = 0; i < calls; i++) workload.call(i % kStates);
        return 0;
    }
    std::fprintf(stderr, "no workload %s\n", argv[1]);
    return 2;
}
