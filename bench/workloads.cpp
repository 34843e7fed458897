#include "workloads.h"

namespace tarn::bench {

const std::vector<Workload>& workloads() {
    static const std::vector<Workload> list = [] {
        std::vector<Workload> all;
        for (const auto& part :
             {kinematicsWorkloads(), cycleWorkloads(), forceWorkloads(), dynamicsWorkloads()})
            all.insert(all.end(), part.begin(), part.end());
        return all;
    }();
    return list;
}

}  // namespace tarn::bench
