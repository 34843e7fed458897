// The module tarnforce of Python: the library's models for offline work.
//
// Everything takes arrays of any shape that ends in six joints and computes row by row. Units are those of
// the headers: degrees, degrees/s, degrees/s^2 in, N m out, lengths in mm, unless a name ends otherwise.
// Functions that the library answers out of its blocks set up an arm at rest first; calls are not for several
// threads.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "model/arm_shape.h"
#include "model/parameter_sets.h"
#include "tarnhost/defaults.h"
#include "tarnhost/kinematics.h"
#include "tarnmotioncontrol/tmcmotionparamblock.h"
#include "tmcHNzvCdynamicblock.h"
#include "tmcforceblock.h"
#include "tmczvPQdynamicblock.h"
#include "tmczvdynamicblock.h"
#include "tmczvoutputmcg.h"
#include "zvmctoolblock.h"

namespace py = pybind11;
using namespace py::literals;
using tarn::ParameterSet;

namespace {

using Array = py::array_t<double, py::array::c_style | py::array::forcecast>;
using Six = std::array<double, 6>;
using Three = std::array<double, 3>;

constexpr double kRadian = 3.141592653589793 / 180.0;
constexpr Three kFloor = {0.0, 0.0, -9.8};  // gravity of an upright arm, m/s^2

// ---- arrays

std::vector<py::ssize_t> leading(const Array& joints, const char* name) {
    if (joints.ndim() == 0 || joints.shape(joints.ndim() - 1) != 6)
        throw py::value_error(std::string(name) + " has to end in six joints");
    return {joints.shape(), joints.shape() + joints.ndim() - 1};
}

void sameShape(const Array& a, const Array& b, const char* name) {
    if (a.ndim() != b.ndim() || !std::equal(a.shape(), a.shape() + a.ndim(), b.shape()))
        throw py::value_error(std::string(name) + " has to have the shape of q");
}

// An output of `inner` elements for each row of joints.
Array outputFor(const Array& joints, std::initializer_list<py::ssize_t> inner) {
    std::vector<py::ssize_t> shape = leading(joints, "q");
    shape.insert(shape.end(), inner);
    return Array(shape);
}

py::ssize_t rowsOf(const Array& joints) { return joints.size() / 6; }

Array zerosLike(const Array& joints) {
    Array zeros = outputFor(joints, {6});
    std::fill_n(zeros.mutable_data(), zeros.size(), 0.0);
    return zeros;
}

// ---- arms

// What hangs on the flange.
struct Load {
    double mass = 0.0;  // kg
    Three center{};     // mm, flange frame
    Six inertia{};      // kg mm^2, about the center: Ixx, Ixy, Ixz, Iyy, Iyz, Izz
    std::array<double, 10> record() const {
        std::array<double, 10> all{mass};
        std::copy(center.begin(), center.end(), all.begin() + 1);
        std::copy(inertia.begin(), inertia.end(), all.begin() + 4);
        return all;
    }
    EX_LOAD asExLoad() const { return {{center[0], center[1], center[2]}, mass}; }
};

const ParameterSet& dynamicsOf(int robotType) {
    const ParameterSet* set = tarn::dynamicsSet(robotType);
    if (set == nullptr) throw py::value_error("no model of type " + std::to_string(robotType));
    return *set;
}

const ParameterSet& standardOf(int robotType) {
    const ParameterSet& set = dynamicsOf(robotType);
    if (set.shape != tarn::ArmShape::Standard)
        throw py::value_error("the library has no mass matrix of this arm's shape");
    return set;
}

// Joint angles as the model counts them.
Six modelAngles(int robotType, const double* q) {
    Six angles;
    const auto& offset = tarn::jointZeroOffsetDeg(robotType);
    for (std::size_t i = 0; i < 6; i++) angles[i] = q[i] - offset[i];
    return angles;
}

Array matrixOf(const double* values, py::ssize_t rows, py::ssize_t columns) {
    Array out({rows, columns});
    std::copy_n(values, rows * columns, out.mutable_data());
    return out;
}

py::dict parameters(int robotType) {
    const ParameterSet& set = dynamicsOf(robotType);
    return py::dict(
        "name"_a = set.name, "shape"_a = set.shape == tarn::ArmShape::Standard ? "standard" : "offset",
        "lengths_mm"_a = matrixOf(set.paramSDH, 1, 6).attr("ravel")(),
        "masses_kg"_a = matrixOf(set.inparaM, 1, 6).attr("ravel")(),
        "centers_mm"_a = matrixOf(set.inparaC, 6, 3), "inertias_kgmm2"_a = matrixOf(set.inparaI, 6, 6),
        "rotor_inertias_kgmm2"_a = matrixOf(set.inparaIj, 1, 6).attr("ravel")());
}

std::vector<int> robotTypes() {
    std::vector<int> types;
    for (int type = 0; type <= MAXROBOTTYPENUM; type++)
        if (tarn::dynamicsSet(type) != nullptr) types.push_back(type);
    return types;
}

// ---- dynamics

Array torque(int robotType, const Array& q, Array qd, Array qdd, const Load& load, const Three& gravity) {
    const ParameterSet& set = dynamicsOf(robotType);
    Array out = outputFor(q, {6});
    if (qd.size() == 0) qd = zerosLike(q);
    if (qdd.size() == 0) qdd = zerosLike(q);
    sameShape(q, qd, "qd");
    sameShape(q, qdd, "qdd");
    const auto record = load.record();
    for (py::ssize_t row = 0; row < rowsOf(q); row++) {
        const Six angles = modelAngles(robotType, q.data() + 6 * row);
        const double *speed = qd.data() + 6 * row, *acceleration = qdd.data() + 6 * row;
        double* tau = out.mutable_data() + 6 * row;
        if (set.shape == tarn::ArmShape::Offset) {
            tmczvPQdynamicblock(set.paramSDH, angles.data(), speed, acceleration, record.data(), set.inparaM,
                                set.inparaC, set.inparaI, set.inparaIj, gravity.data(), tau);
            continue;
        }
        double M[6][6], C[6][6], G[6];  // by columns
        output_MCG(set.paramSDH, angles.data(), speed, acceleration, set.inparaM, set.inparaC, set.inparaI,
                   set.inparaIj, record.data(), gravity.data(), M[0], C[0], G);
        for (int i = 0; i < 6; i++) {
            tau[i] = G[i];
            for (int k = 0; k < 6; k++) tau[i] += kRadian * (M[k][i] * acceleration[k] + C[k][i] * speed[k]);
        }
    }
    return out;
}

py::tuple massCoriolisGravity(int robotType, const Array& q, Array qd, const Load& load,
                              const Three& gravity) {
    const ParameterSet& set = standardOf(robotType);
    if (qd.size() == 0) qd = zerosLike(q);
    sameShape(q, qd, "qd");
    Array mass = outputFor(q, {6, 6}), coriolis = outputFor(q, {6, 6}), torques = outputFor(q, {6});
    const auto record = load.record();
    constexpr double none[6] = {};
    for (py::ssize_t row = 0; row < rowsOf(q); row++) {
        const Six angles = modelAngles(robotType, q.data() + 6 * row);
        double M[6][6], C[6][6];
        output_MCG(set.paramSDH, angles.data(), qd.data() + 6 * row, none, set.inparaM, set.inparaC,
                   set.inparaI, set.inparaIj, record.data(), gravity.data(), M[0], C[0],
                   torques.mutable_data() + 6 * row);
        for (int i = 0; i < 6; i++) {
            for (int k = 0; k < 6; k++) {
                mass.mutable_data()[36 * row + 6 * i + k] = M[k][i];
                coriolis.mutable_data()[36 * row + 6 * i + k] = C[k][i];
            }
        }
    }
    return py::make_tuple(mass, coriolis, torques);
}

// ---- out of the blocks

// Calls work(row of q, row of out) on the library set up for the arm.
Array byArm(int robotType, const Load& load, const Array& q, py::ssize_t width,
            const std::function<void(const double*, double*)>& work) {
    Array out = outputFor(q, {width});
    tarn::host::setDefaults(robotType);
    mpb.loadWeight = load.mass;
    mpb.loadCoord = {load.center[0], load.center[1], load.center[2]};
    for (py::ssize_t row = 0; row < rowsOf(q); row++)
        work(q.data() + 6 * row, out.mutable_data() + width * row);
    return out;
}

Array gravityTorque(int robotType, const Array& q, const Load& load, int mount, double yAngle,
                    double zAngle) {
    return byArm(robotType, load, q, 6, [&](const double* joints, double* out) {
        mcb.robotInstallPos = static_cast<std::uint8_t>(mount);
        mcb.robotInstallYangle = yAngle;
        mcb.robotInstallZangle = zAngle;
        JNTS at{}, gravity{};
        std::copy_n(joints, 6, at.v);
        EX_LOAD exLoad = load.asExLoad();
        zvmcNewGravityTorque(&at, &exLoad, &gravity);
        std::copy_n(gravity.v, 6, out);
    });
}

Array frictionTorque(int robotType, const Array& velocity, bool guiding) {
    return byArm(robotType, {}, velocity, 6, [&](const double* speed, double* out) {
        mpb.state = guiding ? TGEN_DRAG : TGEN_IDLE;
        JNTS perMillisecond{};
        for (int i = 0; i < 6; i++) perMillisecond.v[i] = speed[i] / 1000.0;
        std::fill_n(out, 6, 0.0);
        frictionCompensation(&perMillisecond, out);
    });
}

Array naturalFrequency(int robotType, const Array& q, const Load& load) {
    Array out = byArm(robotType, load, q, 1, [](const double* joints, double* hertz) {
        double at[6];
        std::copy_n(joints, 6, at);
        if (zvmcCalculateNaturalFreq(at, hertz) != 0) *hertz = NAN;
    });
    return out.reshape(leading(q, "q"));
}

// ---- kinematics

Array flange(int robotType, const Array& q) {
    return byArm(robotType, {}, q, 16,
                 [&](const double* joints, double* out) {
                     TRSF pose;
                     if (!tarn::host::flangePose(robotType, joints, &pose))
                         throw py::value_error("no geometry of type " + std::to_string(robotType));
                     const VECT columns[4] = {pose.n, pose.o, pose.a, pose.p};
                     for (int column = 0; column < 4; column++) {
                         out[column] = columns[column].x;
                         out[4 + column] = columns[column].y;
                         out[8 + column] = columns[column].z;
                         out[12 + column] = column == 3 ? 1.0 : 0.0;
                     }
                 })
        .reshape([&] {
            std::vector<py::ssize_t> shape = leading(q, "q");
            shape.insert(shape.end(), {4, 4});
            return shape;
        }());
}

py::object jointsOf(int robotType, const Array& pose, const Array& reference) {
    if (pose.ndim() != 2 || pose.shape(0) != 4 || pose.shape(1) != 4) throw py::value_error("pose is 4 by 4");
    if (reference.size() != 6) throw py::value_error("reference is six joints");
    const auto column = [&](int k) { return VECT{pose.at(0, k), pose.at(1, k), pose.at(2, k)}; };
    const TRSF wanted = {{column(0), column(1), column(2)}, column(3)};
    Array joints(6);
    const int result =
        tarn::host::inverseFlangePose(robotType, wanted, reference.data(), joints.mutable_data());
    return result == 0 ? py::object(joints) : py::none();
}

Array jacobian(int robotType, const Array& q) {
    const ParameterSet& set = dynamicsOf(robotType);
    Array out = outputFor(q, {6, 6});
    const auto links = tarn::dhLinks(set);
    double alpha[6], a[6], d[6];
    for (std::size_t i = 0; i < 6; i++) {
        alpha[i] = links[i].alphaDeg * kRadian;
        a[i] = links[i].a / 1000.0;
        d[i] = links[i].d / 1000.0;
    }
    for (py::ssize_t row = 0; row < rowsOf(q); row++) {
        Six angles = modelAngles(robotType, q.data() + 6 * row);
        for (std::size_t i = 0; i < 6; i++) angles[i] = (angles[i] + links[i].thetaOffsetDeg) * kRadian;
        double J[6][6];
        Jacobian_com(alpha, a, d, angles.data(), J);
        std::copy_n(J[0], 36, out.mutable_data() + 36 * row);
    }
    return out;
}

// ---- friction curves and identification

constexpr std::array<std::pair<int, double (*)(double)>, 5> kCurves = {{
    {14, joint14FrictionCalculate_deadzone},
    {17, joint17FrictionCalculate_deadzone},
    {25, joint25FrictionCalculate_deadzone},
    {32, joint32FrictionCalculate_deadzone},
    {40, joint40FrictionCalculate_deadzone},
}};

Array frictionCurve(int size, const Array& velocity) {
    const auto curve =
        std::find_if(kCurves.begin(), kCurves.end(), [&](auto& row) { return row.first == size; });
    if (curve == kCurves.end()) throw py::value_error("drive sizes are 14, 17, 25, 32 and 40");
    Array out(std::vector<py::ssize_t>(velocity.shape(), velocity.shape() + velocity.ndim()));
    for (py::ssize_t n = 0; n < velocity.size(); n++)
        out.mutable_data()[n] = curve->second(velocity.data()[n] / 1000.0);
    return out;
}

py::tuple fitFriction(const Array& velocity, const Array& torques, const std::array<double, 5>& start) {
    constexpr py::ssize_t kMost = 66;
    if (velocity.size() != torques.size() || velocity.size() < 1 || velocity.size() > kMost)
        throw py::value_error("one torque a velocity, 1 to 66 of them");
    Array found(5);
    double residual = 0.0;
    fitCurve(static_cast<int>(velocity.size()), start.data(), velocity.data(), torques.data(),
             found.mutable_data(), &residual);
    fitCurve_terminate();
    return py::make_tuple(found, residual);
}

Array excitation(py::ssize_t points) {
    TMC_TIMES times{};
    TMC_LIMITS_CART limits{1000.0};
    tarn::host::setDefaults(0);
    zvmcComputefourierMotion(limits, &times);
    Array out({points, py::ssize_t{6}});
    for (py::ssize_t n = 0; n < points; n++)
        zvmcComputefourierAccVelPos(times, static_cast<unsigned long>(n), out.mutable_data() + 6 * n);
    return out;
}

Array wristRegressor(const Array& q, const Array& qd, const Array& qdd) {
    sameShape(q, qd, "qd");
    sameShape(q, qdd, "qdd");
    Array out = outputFor(q, {3, 27});
    for (py::ssize_t row = 0; row < rowsOf(q); row++) {
        double motion[3][6];
        for (int i = 0; i < 6; i++) {
            motion[0][i] = q.data()[6 * row + i] * kRadian;
            motion[1][i] = qd.data()[6 * row + i] * kRadian;
            motion[2][i] = qdd.data()[6 * row + i] * kRadian;
        }
        double* const storage = out.mutable_data() + 81 * row;
        double* rows[3] = {storage, storage + 27, storage + 54};
        solve_Hb5(motion[0], motion[1], motion[2], {0, 2, 0, 26, storage, rows});
    }
    return out;
}

Array identifyWrist(const Array& torques, const Array& q) {
    leading(q, "q");
    sameShape(q, torques, "torque");
    constexpr double kNoEnd = 1e9, kOver = 0.0;  // s
    Six tau{}, joints{};
    tarn::host::setDefaults(0);
    zvmcdynfiltresert();
    zvmcdynstoreresert();
    for (py::ssize_t row = 0; row < rowsOf(q); row++) {
        std::copy_n(torques.data() + 6 * row, 6, tau.begin());
        std::copy_n(q.data() + 6 * row, 6, joints.begin());
        zvmcloadidentifymain(tau.data(), joints.data(), kNoEnd);
    }
    Array parameters(27);
    std::fill_n(parameters.mutable_data(), 27, NAN);
    tmcComIdentifyInv(parameters.mutable_data());
    zvmcloadidentifymain(tau.data(), joints.data(), kOver);  // ends the run, which gives its store back
    return parameters;
}

}  // namespace

PYBIND11_MODULE(tarnforce, module) {
    module.doc() =
        "Models of a six-joint arm: dynamics, kinematics, friction, identification. Angles in degrees.";

    py::class_<Load>(module, "Load",
                     "What hangs on the flange: mass in kg, center in mm, inertia in kg mm^2.")
        .def(py::init([](double mass, Three center, Six inertia) {
                 return Load{mass, center, inertia};
             }),
             "mass"_a = 0.0, "center"_a = Three{}, "inertia"_a = Six{})
        .def_readwrite("mass", &Load::mass)
        .def_readwrite("center", &Load::center)
        .def_readwrite("inertia", &Load::inertia);

    const auto none = Array(0);
    module.def("robot_types", robotTypes, "All type codes with full dynamics.");
    module.def("parameters", parameters, "robot_type"_a, "The inertial parameters and lengths of an arm.");
    module.def("torque", torque, "robot_type"_a, "q"_a, "qd"_a = none, "qdd"_a = none, "load"_a = Load{},
               "gravity"_a = kFloor,
               "Joint torques of a motion, N m: inertia, velocity, gravity; no friction.");
    module.def("mass_coriolis_gravity", massCoriolisGravity, "robot_type"_a, "q"_a, "qd"_a = none,
               "load"_a = Load{}, "gravity"_a = kFloor,
               "M (kg m^2, with rotors), C (N m s/rad) and G (N m) at each row of q.");
    module.def(
        "gravity_torque", gravityTorque, "robot_type"_a, "q"_a, "load"_a = Load{}, "mount"_a = 0,
        "y_angle"_a = 0.0, "z_angle"_a = 0.0,
        "Torque that torque model 0 holds the arm with, N m; mounts: 0 floor, 1 wall, 2 ceiling, 3 tilted.");
    module.def("flange", flange, "robot_type"_a, "q"_a, "Flange pose in the base frame, 4 by 4, mm.");
    module.def("inverse", jointsOf, "robot_type"_a, "pose"_a, "reference"_a,
               "Joints of a flange pose nearest to a reference; None out of reach or at a singularity.");
    module.def("jacobian", jacobian, "robot_type"_a, "q"_a, "Flange velocity by joint velocity, m and rad.");
    module.def("friction_torque", frictionTorque, "robot_type"_a, "velocity"_a, "guiding"_a = false,
               "What is compensated at joint velocities in degrees/s, N m.");
    module.def("friction_curve", frictionCurve, "size"_a, "velocity"_a,
               "Friction of a drive size (14, 17, 25, 32, 40) at velocities in degrees/s, N m.");
    module.def(
        "fit_friction", fitFriction, "velocity"_a, "torque"_a, "start"_a,
        "Friction curve through up to 66 pairs of rad/s and N m: (fc, fs, qs, yita, sita) and the sum of "
        "squared residuals.");
    module.def("natural_frequency", naturalFrequency, "robot_type"_a, "q"_a, "load"_a = Load{},
               "First natural frequency by the library's network, Hz; nan where it finds none.");
    module.def("excitation", excitation, "points"_a,
               "Joints of the excitation that the identification of the wrist moves along, a row each 8 ms.");
    module.def("wrist_regressor", wristRegressor, "q"_a, "qd"_a, "qdd"_a,
               "What the 27 parameters are multiplied with for the torques of joints 4 to 6, 3 by 27 a row.");
    module.def("identify_wrist", identifyWrist, "torque"_a, "q"_a,
               "The 27 parameters of joints 4 to 6 from rows of torque and position, 1 ms apart.");
}
