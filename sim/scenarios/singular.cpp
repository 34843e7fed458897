#include "sim/scenarios/scenarios.h"
namespace tarn::sim {
namespace { void play(Run&, double) {} }
const Scenario kSingular = {"singular", "-", 1.0, play};
}
