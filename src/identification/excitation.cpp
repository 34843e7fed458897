// The motion that excites the arm for the identification of its parameters: a Fourier series a joint, five
// harmonics of 12 s.
#include <cmath>

#include "tmcforceblock.h"

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kPeriod = 12.0;         // s
constexpr double kPointSpacing = 0.008;  // s
constexpr int kHarmonics = 5;

// clang-format off

// Harmonics 1 to 5 of the joint's velocity: what stands with the cosine and with the sine, rad/s.
struct Series {
    struct { double cosine, sine; } velocity[kHarmonics];
    double center;  // rad
};
constexpr Series kSeries[6] = {
    {{{  0.659116803820449,   0.21126460795242}, {-0.888234545964046,  0.417053116306071}, { -0.227611176288041,   0.78122169240243}, { 0.261865766295111, -0.376524408006376}, { -0.882555334688814, -0.468361548321464}},   0.0184361602989109},
    {{{-0.0302663796315916, -0.449694958301013}, { 0.130791929875786, -0.490791123036929}, { 0.0827839881265904,  0.831261884626116}, { 0.822912194388553,  0.431179175655506}, {-0.0851659378889784, -0.927413021440375}}, -0.00852061176421409},
    {{{ -0.175198727805243,  0.306265349147288}, { -0.21751010506699,  0.495687198347442}, {  -1.22003008255574, 0.0600577425467529}, {-0.536343737432847,  0.193824504887885}, {   0.58036128803377,  0.829974574711035}},  0.00541139342286477},
    {{{-0.0558601038020199,  0.165611796074546}, {-0.264207924326362,  0.689315509823173}, {  -1.34499064085905,  0.178966635026232}, { 0.568606584390716,  0.515279728810434}, { -0.575555556124464, -0.607039597572874}},   0.0151879766209857},
    {{{  -1.02623513032743, -0.173815925347214}, {-0.114581059275872,  0.232909287214586}, {-0.0761643346162698,  0.165629175969608}, { 0.391008071069519,  -1.15372999985473}, {  0.458190002522964,  0.722160554187911}}, -0.00818653911693022},
    {{{0.00112757605547626, -0.578784429282814}, { 0.526900764064442,     1.198237801358}, { 0.0532400829892352,  0.377389809708749}, {0.0909300182927678,  0.579705437560919}, { -0.965992991271754, -0.655972441304665}},  -0.0217886414487416},
};

// clang-format on

// Joints 2 and 3 swing about a raised arm, rad.
constexpr double kLift[6] = {0.0, 1.0, 0.2, 0.0, 0.0, 0.0};

}  // namespace

int zvmcComputefourierMotion(TMC_LIMITS_CART limitsGoto, TMC_TIMES* tTraj) {
    tTraj->tNgt = kPeriod;
    tTraj->tCrs = kPeriod / (limitsGoto.maxVel / 1000.0);
    return 0;
}

// q(t) is the integral of sum over k of cosine[k] cos(k wf t) + sine[k] sin(k wf t).
int zvmcComputefourierAccVelPos(TMC_TIMES tTraj, unsigned long numPoint, double* qPoint) {
    const double t = static_cast<double>(numPoint) * kPointSpacing * (tTraj.tNgt / tTraj.tCrs);
    const double wf = kPi / tTraj.tNgt + kPi / tTraj.tNgt;
    const double fw = 1.0 / wf;
    double sine[kHarmonics], cosine[kHarmonics];
    for (int k = 1; k <= kHarmonics; k++) {
        sine[k - 1] = std::sin(k * wf * t) * fw / k;
        cosine[k - 1] = std::cos(k * wf * t) * fw / k;
    }
    for (int j = 0; j < 6; j++) {
        const Series& series = kSeries[j];
        double q = 0.0;
        for (int i = 0; i < kHarmonics; i++)
            q += series.velocity[i].cosine * sine[i] - series.velocity[i].sine * cosine[i];
        q += series.center;
        qPoint[j] = (q - kLift[j]) / kPi * 180.0;
    }
    return 0;
}
