// tarnmath: bits of the C library's mathematics on a million drawn arguments a function. Written by one build
// to a file and compared by another, they tell which functions differ between the two, how often and by how
// much.
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kArguments = 1'000'000;

// Draws that are the same everywhere: 53 bits of a linear congruence, mixed.
class Draw {
  public:
    double within(double low, double high) {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        std::uint64_t bits = state_ ^ (state_ >> 29);
        bits *= 0x94d049bb133111ebU;
        bits ^= bits >> 32;
        return low + (high - low) * (static_cast<double>(bits >> 11) * 0x1p-53);
    }

  private:
    std::uint64_t state_ = 1;
};

// Ranges as the library and its host have them: angles of many turns, sines, exponents of friction curves.
// A result of single precision stands in the same slot.
struct Function {
    const char* name;
    double low, high;
    double (*of)(double x, double y);  // y is drawn from the same range
    bool ofLibrary;                    // the others are the reference host's
};

constexpr Function kFunctions[] = {
    {"sin", -20.0, 20.0, [](double x, double) { return std::sin(x); }, true},
    {"cos", -20.0, 20.0, [](double x, double) { return std::cos(x); }, true},
    {"sinf", -20.0, 20.0, [](double x, double) { return double(std::sin(static_cast<float>(x))); }, true},
    {"cosf", -20.0, 20.0, [](double x, double) { return double(std::cos(static_cast<float>(x))); }, true},
    {"asin", -1.0, 1.0, [](double x, double) { return std::asin(x); }, true},
    {"acos", -1.0, 1.0, [](double x, double) { return std::acos(x); }, true},
    {"atan", -50.0, 50.0, [](double x, double) { return std::atan(x); }, true},
    {"sinh", -20.0, 20.0, [](double x, double) { return std::sinh(x); }, true},
    {"tanh", -20.0, 20.0, [](double x, double) { return std::tanh(x); }, true},
    {"exp", -50.0, 50.0, [](double x, double) { return std::exp(x); }, true},
    {"log", 1e-9, 1e3, [](double x, double) { return std::log(x); }, true},
    {"pow", 1e-3, 20.0, [](double x, double y) { return std::pow(x, y); }, true},
    {"sqrt", 0.0, 1e6, [](double x, double) { return std::sqrt(x); }, true},
    {"atan2", -2.0, 2.0, [](double x, double y) { return std::atan2(x, y); }, false},
    {"hypot", -2.0, 2.0, [](double x, double y) { return std::hypot(x, y); }, false},
    {"cbrt", 0.0, 1e3, [](double x, double) { return std::cbrt(x); }, false},
    {"remainder", -1e3, 1e3, [](double x, double) { return std::remainder(x, 360.0); }, false},
};

// How many numbers of its precision lie between two results of the same sign.
std::uint64_t unitsBetween(std::uint64_t a, std::uint64_t b, bool single) {
    const std::uint64_t distance = a > b ? a - b : b - a;
    return single ? distance >> 29 : distance;
}

}  // namespace

int main(int argc, char** argv) {
    const bool write = argc == 3 && std::strcmp(argv[1], "write") == 0;
    const bool compare = argc == 3 && std::strcmp(argv[1], "compare") == 0;
    if (!write && !compare) {
        std::fputs("usage: tarnmath write|compare FILE\n", stderr);
        return 2;
    }
    std::FILE* file = std::fopen(argv[2], write ? "wb" : "rb");
    if (file == nullptr) {
        std::perror(argv[2]);
        return 2;
    }
    bool same = true;
    for (const Function& function : kFunctions) {
        Draw draw;
        int off = 0;
        std::uint64_t most = 0;
        for (int n = 0; n < kArguments; n++) {
            const double x = draw.within(function.low, function.high);
            const double y = draw.within(function.low, function.high);
            const auto bits = std::bit_cast<std::uint64_t>(function.of(x, y));
            std::uint64_t other = 0;
            const std::size_t moved =
                write ? std::fwrite(&bits, sizeof bits, 1, file) : std::fread(&other, sizeof other, 1, file);
            if (moved != 1) {
                std::fprintf(stderr, "tarnmath: %s: cut short\n", argv[2]);
                return 2;
            }
            if (write || bits == other) continue;
            off++;
            const bool single = function.name[std::strlen(function.name) - 1] == 'f';
            const std::uint64_t units = unitsBetween(bits, other, single);
            if (units > most) most = units;
        }
        if (compare)
            std::printf("%-10s %-8s %8d of %d differ, by at most %llu units\n", function.name,
                        function.ofLibrary ? "library" : "host", off, kArguments,
                        static_cast<unsigned long long>(most));
        same = same && (off == 0 || !function.ofLibrary);
    }
    std::fclose(file);
    return same ? 0 : 1;
}
