// Makes a given number of calls of one workload, for a tool that counts instructions from outside.
// Without arguments it lists the workloads: name, and its reference or "-".
#include <cstdio>
#include <cstdlib>

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
        const int calls = std::atoi(argv[2]);
        for (int i = 0; i < calls; i++) workload.call(i % kStates);
        return 0;
    }
    std::fprintf(stderr, "no workload %s\n", argv[1]);
    return 2;
}
