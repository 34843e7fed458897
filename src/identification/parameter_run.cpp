// Identification of the wrist's parameters over a run of the excitation: sums normal equations sample by
// sample, solves them with the last one, and turns what changed against a baseline into a load.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "dynamics/regressor.h"
#include "identification/parameter_solution.h"
#include "model/base_parameters.h"
#include "numeric/filter_records.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kSamplePeriod = 0.001;  // s
constexpr int kRows = 6;                 // samples that a history holds
constexpr int kTorques = 3;              // joints 4 to 6
constexpr int kParameters = 27;          // of them
constexpr int kBefore = 21;              // parameters of joints 1 to 3, which are not identified

struct Shape {
    dmat Store::*matrix;
    int rows, columns;
};
constexpr Shape kStore[] = {
    {&Store::left_sum, kParameters, kParameters},
    {&Store::left, kParameters, kParameters},
    {&Store::right, kParameters, 1},
    {&Store::right_sum, kParameters, 1},
    {&Store::joint, kTorques, 1},
    {&Store::Hb, kTorques, kParameters},
    {&Store::Hb_tr, kParameters, kTorques},
};

void allocate(dmat& matrix, int rows, int columns) {
    matrix = {0, rows - 1, 0, columns - 1, nullptr, nullptr};
    matrix.el = static_cast<double**>(__wrap_malloc(static_cast<std::size_t>(rows) * sizeof(double*)));
    for (int i = 0; i < rows; i++)
        matrix.el[i] =
            static_cast<double*>(__wrap_malloc(static_cast<std::size_t>(columns) * sizeof(double)));
}

void release(dmat& matrix) {
    if (matrix.el == nullptr) return;
    for (int i = matrix.lb1; i <= matrix.ub1; i++) __wrap_free(matrix.el[i]);
    __wrap_free(matrix.el);
    matrix.el = nullptr;
}

void clear(const dmat& matrix) {
    for (int i = matrix.lb1; i <= matrix.ub1; i++)
        for (int j = matrix.lb2; j <= matrix.ub2; j++) matrix.el[i][j] = 0.0;
}

// The matrices are there from setup to release.
bool allocated() { return store.left_sum.el != nullptr; }

}  // namespace

// A store that is still there is not freed: the host ends a run before it sets up the next one.
int zvmcdynstoreresert() {
    zvmcselectvalue(1);
    solveX.flag1 = 1;
    solveX.flag = 1;
    for (const auto& [matrix, rows, columns] : kStore) allocate(store.*matrix, rows, columns);
    clear(store.left_sum);
    clear(store.right_sum);
    store.index = 0;
    return 0;
}

// While a run is on, the reset leaves its samples and their count alone, on purpose.
int Store_free() {
    zvmcdynfiltresert();
    for (const Shape& shape : kStore) release(store.*shape.matrix);
    store.index = 0;
    return 0;
}

int zvmcselectvalue(int flag) {
    if (flag == 0) std::copy_n(kBaseParameters1, 48, selftauHb_x);
    if (flag == 2) std::copy_n(kBaseParameters2, 48, selftauHb_x);
    if (flag >= 0 && flag <= 2) std::copy_n(kBareWrist, 48, selftauHb_x0);
    return 0;
}

int zvmcloadidentifymain(double* tau, double* joint_pos, double T) {
    if (solveX.flag == 0) return 0;
    filter& f = armFilters.filt1;
    if (f.index <= 0) {
        for (int i = 0; i < 6; i++) {
            f.j_pos0[i] = joint_pos[i] / 180.0 * kPi;
            f.tau0[i] = tau[i];
        }
    }
    if (f.index >= kRows) {
        for (auto* rows : {f.j_pos, f.prej_pos, f.afterj_pos, f.tau, f.pre_tau, f.after_tau})
            std::memmove(rows, rows + 1, (kRows - 1) * sizeof *rows);
        f.index = kRows - 1;
    }
    // The torque is not filtered.
    const int row = f.index;
    for (int i = 0; i < 6; i++) {
        f.tau[row][i] = tau[i];
        f.j_pos[row][i] = joint_pos[i] / 180.0 * kPi - f.j_pos0[i];
        double result;
        filter_data(i, row, &result);
        f.prej_pos[row][i] = result;
        f.afterj_pos[row][i] = f.j_pos0[i] + result;
    }
    if (row > 1) tmcComIdentifySum(row - 1);
    if (f.index1 > T / kSamplePeriod - 1) {
        tmcComIdentifyInv(solveX.X);
        Store_free();
        solveX.flag = 0;
    }
    f.index++;
    if (f.index1 < INT_MAX) f.index1++;  // a run without an end, by a T that is no number
    return 0;
}

int tmcComIdentifySum(int index) {
    if (!allocated() || index < 1 || index > kRows - 2) return 0;
    const auto* p = &armFilters.filt1.afterj_pos[index];
    double q[6], dq[6], ddq[6];
    for (int i = 0; i < 6; i++) {
        q[i] = p[0][i];
        dq[i] = (p[1][i] - p[-1][i]) / 0.002;
        ddq[i] = (p[1][i] + p[-1][i] - 2 * p[0][i]) / 1e-06;
    }
    // One row older than the motion, and without the weights of its regressor, on purpose.
    for (int i = 0; i < kTorques; i++) store.joint.el[i][0] = armFilters.filt1.tau[index - 1][3 + i];
    solve_Hb5(q, dq, ddq, store.Hb);
    for (int i = 0; i < kTorques; i++)
        for (int j = 0; j < kParameters; j++) store.Hb_tr.el[j][i] = store.Hb.el[i][j];
    matmul(store.Hb_tr, store.Hb, store.left);
    matmul(store.Hb_tr, store.joint, store.right);
    matSum(store.left_sum, store.left, store.left_sum);
    matSum(store.right_sum, store.right, store.right_sum);
    return 0;
}

// A singular matrix stays as it is: what comes out then is no solution, and nothing tells.
int tmcComIdentifyInv(double* X) {
    if (!allocated()) return 0;
    matinvert(store.left_sum, store.left_sum);
    matmul(store.left_sum, store.right_sum, store.right_sum);
    for (int i = 0; i < kParameters; i++) X[i] = store.right_sum.el[i][0];
    return 0;
}

// Index for index, though the solution starts at joint 4 and the baseline at joint 1: on purpose.
int zvmcloadidentifyvalue(int flag) {
    if (flag == 1) std::copy_n(solveX.X, 48, selftauHb_x0);
    return 0;
}

// A load of mass mp at r adds mp * d5 to mz of link 4, mp * (d6 + z) to mz of link 5, mp * x and mp * y to mx
// and my of link 6.
int zvmcgetloadidentifyresult(Gain gain, double* m, VECT* r) {
    double X[48] = {};
    std::copy_n(solveX.X, kParameters, X + kBefore);
    const double* base = selftauHb_x0;
    const double mp = ((gain.kp[4] * X[27] - base[27]) / 51.0) * 500.0;
    r->x = ((X[44] - base[44]) / mp) * 1000.0;
    r->y = ((X[45] - base[45]) / mp) * 1000.0;
    r->z = ((X[36] - base[36] - mp / 10.0) / mp) * 1000.0;
    *m = std::fabs(mp) * 100.0;
    return 0;
}
