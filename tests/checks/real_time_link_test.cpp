// The library as linked for a real-time kernel: its C functions come from the kernel's names, its start-up
// object has run.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "tarnhost/defaults.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

namespace {
int draws = 0, exponentials = 0, requests = 0, returns = 0;
}

extern "C" {
extern int realTimeStarts;
int __wrap_rand();
double __wrap_exp(double x);
}

int __wrap_rand() { return ++draws; }

double __wrap_exp(double x) {
    exponentials++;
    return std::exp(x);
}

void* __wrap_malloc(size_t size) {
    requests++;
    return std::malloc(size);
}

void __wrap_free(void* p) {
    returns++;
    std::free(p);
}

TEST(RealTimeLink, TakesTheKernelsFunctionsAndItsStart) {
    EXPECT_EQ(realTimeStarts, 1);
    tarn::host::setDefaults(101);

    // two draws of one in 2^31 and two: the first far out, the second all but a whole turn
    const double sample = generate_normal(0.0, 1.0);
    EXPECT_EQ(draws, 2);
    EXPECT_NEAR(sample, std::sqrt(-2.0 * std::log(1.0 / 2147483648.0)), 1e-6);

    EXPECT_EQ(exponentials, 0);
    EXPECT_NE(joint14FrictionCalculate_deadzone_DRAG(0.01, 1.0, 1.0, 1.0, 1.0), 0.0);
    EXPECT_GT(exponentials, 0);

    zvmcdynstoreresert();
    EXPECT_GT(requests, 0);
    Store_free();
    EXPECT_EQ(returns, requests);
}
