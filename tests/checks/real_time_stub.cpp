// Stands for the start-up object of a real-time kernel: it runs when the library is loaded.
extern "C" {
int realTimeStarts = 0;
}

namespace {
__attribute__((constructor)) void start() { realTimeStarts++; }
}  // namespace
