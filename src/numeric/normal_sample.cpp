// Gaussian noise.
#include <cmath>
#include <cstdlib>

#include "zvmctoolblock.h"

// Box-Muller, the cosine branch alone. A first draw of 0 gives an infinite sample, on purpose.
double generate_normal(double mean, double stddev) {
    const double u1 = std::rand() / 2147483648.0;
    const double u2 = std::rand() / 2147483648.0;
    const double theta = u2 * 6.283185307179586;
    const double r = std::sqrt(-2.0 * std::log(u1));
    return r * std::cos(theta) * stddev + mean;
}
