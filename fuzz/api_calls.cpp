#include "api_calls.h"

#include <deque>
#include <memory>
#include <tuple>

#include "tmcHNzvCdynamicblock.h"
#include "tmcforceblock.h"
#include "tmczvPQdynamicblock.h"
#include "tmczvdynamicblock.h"
#include "tmczvoutputmcg.h"
#include "zvmcforcesensorblock.h"
#include "zvmcidentifydynamicblock.h"
#include "zvmctoolblock.h"

namespace fuzz {
namespace {

// Arguments of one call. Every array stands alone on the heap and has no element too many.
class Arguments {
  public:
    Arguments(Values& values, const Size* sizes) : values_(values), size_(sizes) {}

    template <typename T>
    T next() {
        if constexpr (std::is_same_v<T, dmat>) {
            return matrix();
        } else if constexpr (std::is_pointer_v<T>) {
            return array<std::remove_const_t<std::remove_pointer_t<T>>>((size_++)->rows);
        } else if constexpr (std::is_arithmetic_v<T>) {
            return values_.value<T>();
        } else {
            T record;
            values_.fill(&record, 1);
            return record;
        }
    }

    template <typename T>
    T* array(int count) {
        const auto bytes = static_cast<size_t>(count) * sizeof(T);
        memory_.push_back(std::make_unique<std::byte[]>(bytes));
        T* start = reinterpret_cast<T*>(memory_.back().get());
        values_.fill(start, static_cast<size_t>(count));
        return start;
    }

  private:
    dmat matrix() {
        const auto [rows, columns] = *size_++;
        auto* elements = array<double>(rows * columns);
        memory_.push_back(std::make_unique<std::byte[]>(static_cast<size_t>(rows) * sizeof(double*)));
        auto** row = reinterpret_cast<double**>(memory_.back().get());
        for (int i = 0; i < rows; i++) row[i] = elements + i * columns;
        return {0, rows - 1, 0, columns - 1, elements, row};
    }

    Values& values_;
    const Size* size_;
    std::deque<std::unique_ptr<std::byte[]>> memory_;
};

template <auto Function>
struct Caller;

template <typename Result, typename... A, Result (*Function)(A...)>
struct Caller<Function> {
    static void run(Values& values, const Size* sizes) {
        Arguments arguments(values, sizes);
        std::tuple<A...> all{arguments.next<A>()...};  // braces: from left to right
        std::apply(Function, all);
    }
};

// ---- functions that trust a size given to them

int upTo(Values& values, int highest) { return static_cast<int>(values.bits() % unsigned(highest + 1)); }

template <auto Function>
void product(Values& values, const Size*) {
    Arguments in(values, nullptr);
    const int r = upTo(values, 7), c = upTo(values, 7), c2 = upTo(values, 7);
    Function(r, c, c2, in.array<double>(r * c), in.array<double>(c * c2), in.array<double>(r * c2));
}

void productWithVector(Values& values, const Size*) {
    Arguments in(values, nullptr);
    const int r = upTo(values, 7), c = upTo(values, 7), c2 = upTo(values, 1);
    MatrixMulDimenSingle(r, c, c2, in.array<double>(r * c), in.array<double>(c), in.array<double>(r));
}

template <auto Function>
void sum(Values& values, const Size*) {
    Arguments in(values, nullptr);
    const int r = upTo(values, 7), c = upTo(values, 7);
    Function(r, c, in.array<double>(r * c), in.array<double>(r * c), in.array<double>(r * c));
}

void transposed(Values& values, const Size*) {
    Arguments in(values, nullptr);
    const int r = upTo(values, 7), c = upTo(values, 7);
    transposeMatrixDimen(r, c, in.array<double>(r * c), in.array<double>(r * c));
}

void determinant6(Values& values, const Size*) {
    determinant(Arguments(values, nullptr).array<double[6]>(6), upTo(values, 6));
}

void determinant4(Values& values, const Size*) {
    determinantDimen4(upTo(values, 4), Arguments(values, nullptr).array<double[4]>(4));
}

void determinantFlat(Values& values, const Size*) {
    determinantDimen(6, Arguments(values, nullptr).array<double>(36));
}

void peaks(Values& values, const Size*) {
    Arguments in(values, nullptr);
    const int size = upTo(values, 40);
    findPeaksAndValleys(in.array<double>(size), size, in.array<double>(size / 2), in.array<double>(size / 2),
                        in.array<int>(1), in.array<int>(1));
}

// Sizes of the arrays, in elements of their type, 0 for those that are not read.
// clang-format off
#define CALL(function, ...) {#function, Caller<&(function)>::run, {__VA_ARGS__}}
#define OWN(function, caller) {#function, caller, {}}
constexpr Call kCalls[] = {
    // tmcforceblock.h
    CALL(gravityTorqueControl, 1),
    CALL(zvmcNewGravityTorque, 1, 1, 1),
    CALL(zvmcGravityTorque, 1, 1, 1),
    CALL(zvmcInvGravity, 6, 6, 18, 10, 3, 6, 6),
    CALL(zvmcJointDefaultTorque, 6),
    CALL(zvtmczvdynamicblock, 6, 6, 6, 6, 18, 36, 6, 0, 6),
    CALL(zvPQtmczvdynamicblock, 6, 6, 6, 6, 18, 36, 6),
    CALL(zvHNtmczvdynamicblock, 6, 6, 6, 6),
    CALL(frictionCompensation, 1, 6),
    CALL(joint14FrictionCalculate_deadzone),
    CALL(joint17FrictionCalculate_deadzone),
    CALL(joint25FrictionCalculate_deadzone),
    CALL(joint32FrictionCalculate_deadzone),
    CALL(joint40FrictionCalculate_deadzone),
    CALL(joint14FrictionCalculate_deadzone_DRAG),
    CALL(joint17FrictionCalculate_deadzone_DRAG),
    CALL(joint25FrictionCalculate_deadzone_DRAG),
    CALL(joint32FrictionCalculate_deadzone_DRAG),
    CALL(joint40FrictionCalculate_deadzone_DRAG),
    CALL(tmcSetJointStiffnessType),
    CALL(tmcSetJointFrictionGain, 6, 6, 6, 6),
    CALL(tmcFrictionCompensationOnOff),
    CALL(tmcSetFrictionValue_free, 6),
    CALL(tmcSetCollisionMode),
    CALL(tmcSetCollisionLevel, 6),
    CALL(tmcCollisionLevelResume),
    CALL(tmcSetCollisionPause, 6),
    CALL(tmcGetCollisionState, 1),
    CALL(zvmcSetCustomCollisionDetection, 6, 6),
    CALL(tmcSetStaticCollisionOnOff),
    CALL(tmcSetPowerLimit),
    CALL(tmcMomentumAndPowerOnOff),
    CALL(zvmcCheckForCollisionError),
    CALL(dynamicCurrentCollisionLimit, 6),
    CALL(tmcCheckTorqueError),
    CALL(zvmcCollisionDetection, 6, 0, 0, 0),
    CALL(initCollisionDetection),
    OWN(findPeaksAndValleys, peaks),
    CALL(zvmcMomentumObserver, 0, 36, 36, 6, 0, 6),
    CALL(tmcPowerReal, 0, 1),
    CALL(tmcTorqueRecordReset),
    CALL(tmcTorqueRecordStartEnd, 6, 6, 6),
    CALL(zvmcResetTorqueRecordPara),
    CALL(zvmcTorqueRecordProcess),
    CALL(zvmcTorqueRecordCollision, 6),
    CALL(findHistoryCurrentSet, 1),
    CALL(zvmcCustomCollisionDetectionMain, 6, 6),
    CALL(collisionMessageSave, 1, 6),
    CALL(collisionMessagePrintf),
    CALL(tmcgravityTeachVersionOnOff),
    CALL(tmcDragLockEnableDisable),
    CALL(tmcSetDragLockPara, 6, 6, 6),
    CALL(tmcSetInterfereDrag),
    CALL(tmcSetRobotInstallPos),
    CALL(tmcSetRobotInstallAngle),
    CALL(tmcGetRobotInstallAngle, 1, 1),
    CALL(zvmcteachcontrolA_gravitytest, 6, 6),
    CALL(zvmcteachcontrolB_gravitytest, 6, 6),
    CALL(zvmcteachcontrolC_gravitytest, 6, 6),
    CALL(zvmcteachcontrolD_gravitytest, 6, 6),
    CALL(zvmcendload, 6, 6),
    CALL(teachcontrolA, 6, 6, 6, 6),
    CALL(teachcontrolB, 6, 6, 6, 6),
    CALL(teachcontrolC, 6, 6, 6, 6),
    CALL(teachcontrolD, 6, 6, 6, 6),
    CALL(zvA_pretau, 6, 6, {6, 6}, 6),
    CALL(zvB_pretau, 6, 6, {6, 6}, 6, 6),
    CALL(zvC_pretau, 6, 6, {6, 6}, 6),
    CALL(zvD_pretau, 6, 6, {6, 6}, 6),
    CALL(zvmcimpedencejoint, 6, 6, 6, 6),
    CALL(zvmcteachcontrolinterfere, 6, 6, 6, 6),
    CALL(zvmcdynstoreresert),
    CALL(Store_free),
    CALL(zvmcselectvalue),
    CALL(zvmcComputefourierMotion, 1),
    CALL(zvmcComputefourierAccVelPos, 6),
    CALL(zvmcloadidentifymain, 6, 6),
    CALL(tmcComIdentifySum),
    CALL(tmcComIdentifyInv, 27),
    CALL(solve_Hb5, 6, 6, 6, {3, 27}),
    CALL(zvmcloadidentifyvalue),
    CALL(zvmcgetloadidentifyresult, 1, 1),
    CALL(tmcLoadIdentifyStartEnd),
    CALL(zvmcLoadIdentifyControl),
    CALL(tmcGetLoadWeightCoord, 1, 1, 1),
    CALL(zvmcSetCurrentLoadIdentifyFlag),
    CALL(zvmcSaveLoadIdentifyPoint),
    CALL(zvmcComEndLoadMain, 1, 3),
    CALL(tmcSetLoadPara),
    CALL(zvmcSingleJointFrictionOnlineOnOff),
    CALL(zvmcSingleJointFrictionSaveData, 1),
    CALL(zvmcGetJointFrictionStatus, 1, 10, 10, 10),
    CALL(frictionCalculate, 10),
    CALL(zvmcSingleJointModelOnlineOnOff),
    CALL(zvmcSetJointModelType),
    CALL(zvmcGetJointModelDataOnline, 1),
    CALL(zvmcGetJointModelStatus, 1, 3, 3, 3),
    CALL(zvmcCalculateNaturalFreq, 6, 1),
    CALL(zvmcVibrateAbateControl, 6),
    CALL(zvmcGetJointStatus, 6, 6, 6, 6, 6, 6, 6),
    CALL(zvmcGetJointCurrent, 6),
    CALL(zvmcOutTorqueMeoAndReal, 6, 6),
    CALL(zvmcGetInterfereStatus, 6, 1, 8),
    CALL(zvmcGetDesJointsPos, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7),
    CALL(MaxJointVel, 6),
    CALL(JointMaxAcc, 6),
    // zvmcforcesensorblock.h
    CALL(tmcLoadIdentifyDynOnOff),
    CALL(tmcSetLoadIdentifyDynPara),
    CALL(zvmcLoadIdentifyDynControl),
    CALL(zvmcComloaddymIdentify, 5, 5, 1, 3),
    CALL(tmcSetForceSensorAct),
    CALL(tmcGetForceSensorAct, 1),
    CALL(tmcSetForceSensorRcs, 6),
    CALL(zvmcSetAxleDeviceType),
    CALL(zvmcCloseForceSensor),
    CALL(zvmcGetForceSensorState, 1),
    CALL(forceSensorDataProcess, 6),
    CALL(tmcAsqInit),
    CALL(tmcAsqClear),
    CALL(tmcAsqLength),
    CALL(tmcAsqIsEmpty),
    CALL(tmcAsqIsFull),
    CALL(tmcAsqAddToTail),
    CALL(tmcAsqGetAtHead, 1),
    CALL(axleSensorDataAddToBuff, 2),
    CALL(tmcAxleSensorDataBuffFlag),
    CALL(tmcGetAxleSensorData, 1),
    CALL(tmcAxleSensorEnable),
    CALL(axleSensorDataMonitor, 2),
    CALL(tmcAxleSensorRegWrite),
    CALL(tmcSetForceSensorZero),
    CALL(forceSensorDataGravityCompensation, 1),
    CALL(trsfToRCS_force, 1),
    CALL(tmcPosAddTrsfToRCS, 1),
    CALL(tmcSetForceSensorLoadWeight),
    CALL(tmcSetForceSensorLoadCoord),
    CALL(tmcGetForceSensorData_loadIdentify, 1),
    CALL(tmcForceSensor_loadWeightIdentify, 1),
    CALL(tmcForceSensor_loadCoordIdentify, 3, 1),
    CALL(zvmcSaveSensorDataFlag),
    CALL(zvmcSensorComload, 1, 3),
    CALL(forceSensorSaveLoadCoord),
    CALL(tmcCollisionStartStop, 6),
    CALL(collisionControl),
    CALL(zvmcForceAndTorqueDragStartStop, 6, 6, 6),
    CALL(zvmcGetForceAndTorqueDragState, 1, 1),
    CALL(zvmcForceDataToTorque, 6, 6),
    CALL(velocityJacob, 6, 6, 36),
    CALL(testOutTrans, 36),
    CALL(testOutRot, 36),
    CALL(zvmcInputJJOutTrans, 6),
    CALL(zvmcInputJJOutROT, 6),
    CALL(zvmcConstraintsAdmittance, 6),
    CALL(det3, 3, 1),
    CALL(inverseMatrix3, 3, 3),
    CALL(zvmcForceSensorVirtualWall, 3, 6),
    CALL(zvmcInitEndForceDragParam),
    CALL(zvmcEndForceDragstartstop, 6, 6, 6, 6),
    CALL(zvmcEndForceDragStartStopControl),
    CALL(zvmcGetEndForceDragStartStopState, 1),
    CALL(zvmcEndForceDragParamReset),
    CALL(tmcSetForceSensorDragAutoFlag),
    CALL(zvmcForceSensorDragProcess),
    CALL(zvmcEndForceDragToCart, 1),
    CALL(zvmcAdmittanceControl, 6, 6, 6, 6, 6, 6, 6),
    CALL(zvmcIsOverJntvel),
    CALL(zvmcKalmanEnvironmenModelEvaluate, 3, 2, 2, 3),
    CALL(PIDInit, 1),
    CALL(PIDCalc, 1, 1),
    CALL(PID_increase_Calc, 1, 1),
    CALL(zvmcPIDAdjust, 1),
    CALL(zvmcILCinit, 1),
    CALL(zvmcILCreset),
    CALL(zvmcILCcontrol, 1, 1),
    CALL(zvmcCompliancestartstop),
    CALL(Compliancecontrol, 1),
    CALL(zvmcFTControl_Admittance, 6, 6, 6, 6, 6),
    CALL(zvmcFTNormal_estimation, 1, 3),
    CALL(tmcConstForceStartStop, 6),
    CALL(constForceControl, 1),
    CALL(resetForceControlPara),
    // zvmctoolblock.h
    CALL(MatrixMul, 4, 4, 4),
    CALL(MatrixMul3, 3, 3, 3),
    CALL(MatrixMul6, 6, 6, 6),
    CALL(MatrixMul6and1, 6, 6, 6),
    CALL(transposeMatrix, 6, 6),
    CALL(crossProduct, 3, 3, 3),
    OWN(MatrixMulDimen, product<MatrixMulDimen>),
    OWN(MatrixMulDimenSingle, productWithVector),
    OWN(MatrixAddDimen, sum<MatrixAddDimen>),
    OWN(MatrixSubDimen, sum<MatrixSubDimen>),
    OWN(transposeMatrixDimen, transposed),
    OWN(determinant, determinant6),
    OWN(determinantDimen4, determinant4),
    OWN(determinantDimen, determinantFlat),
    CALL(inverseJacobi, 6, 6),
    CALL(inverseMatrix2, 2, 2),
    CALL(inv, 36, 36),
    CALL(invNxN, 36, 36),
    CALL(invMatrix, 16, 16),
    CALL(inverseMatrix4, 4, 4),
    CALL(TransMatSDH, 3, 16),
    CALL(TransMatrix_SDH, 3, 16),
    CALL(cross_operator6, 6, 36),
    CALL(quattorpy, 1),
    CALL(generate_normal),
    CALL(rt_InitInfAndNaN),
    CALL(rtIsInf),
    CALL(rtIsInfF),
    CALL(rtIsNaN),
    CALL(rtIsNaNF),
    CALL(rtGetNaN),
    CALL(rtGetInf),
    CALL(rtGetMinusInf),
    CALL(rtGetNaNF),
    CALL(rtGetInfF),
    CALL(rtGetMinusInfF),
    CALL(buttord, 1),
    CALL(filter_data, 1),
    CALL(Fivebuttord, 1),
    CALL(TualEncoderbuttord, 1),
    CALL(Loadbuttord, 1),
    CALL(LoadPosbuttord, 1),
    CALL(ForceCollisionbuttord, 1),
    CALL(SensorDragbuttord, 1),
    CALL(buttordFTControl, 1),
    CALL(TwoForceAndTorqueDragbuttord, 1),
    CALL(buttordFTControlThetaf, 1),
    CALL(zvmcdynfiltresert),
    CALL(zvmcButterWorthFiltInit, 1),
    CALL(zvmcButterWorthFiltProcessData, 1, 1),
    CALL(zvmcButterWorthFiltABComputer, 1),
    CALL(myfilter, 1),
    CALL(init_filter, 1),
    CALL(update_filter, 1),
    CALL(init_notch, 1),
    CALL(notch_process, 1),
    CALL(init_lowpassfilter, 1),
    CALL(lowpassfilterMain, 1, 6, 6),
    CALL(Jacobian_com, 6, 6, 6, 6, 6),
    CALL(zvA_jacob, 6, {6, 6}),
    CALL(zvB_jacob, 6, {6, 6}),
    CALL(zvC_jacob, 6, {6, 6}),
    CALL(zvD_jacob, 6, {6, 6}),
    CALL(velocityJacobOld, 6, 6, 6),
    CALL(EndvelToJointvel, 6, 6, 6),
    CALL(fitCurve, 5, 66, 66, 5, 1),
    CALL(fitCurve_initialize),
    CALL(fitCurve_terminate),
    // zvmcidentifydynamicblock.h
    CALL(computeZvA_selftautest, 9, 9, 9, {6, 1}),
    CALL(computeZvB_selftautest, 9, 9, 9, {6, 1}),
    CALL(computeZvC_selftautest, 9, 9, 9, {6, 1}),
    CALL(computeZvD_selftautest, 9, 9, 9, {6, 1}),
    // tmczvdynamicblock.h
    CALL(tmczvdynamicblock, 6, 6, 6, 6, 10, 6, 18, 36, 6, 3, 6, 6, 36, 36),
    // tmczvPQdynamicblock.h
    CALL(tmczvPQdynamicblock, 6, 6, 6, 6, 10, 6, 18, 36, 6, 3, 6),
    // tmcHNzvCdynamicblock.h
    CALL(tmcHNzvCdynamicblock, 6, 6, 6, 6, 10, 6, 3, 6),
    // tmczvoutputmcg.h
    CALL(output_MCG, 6, 6, 6, 6, 6, 18, 36, 6, 10, 3, 36, 36, 6),
    CALL(com_M_matrix, 6, {6, 6}),
    CALL(com_C_matrix, 6, 6, {6, 6}),
    CALL(com_G_matrix, 6, {6, 1}),};
// clang-format on

}  // namespace

std::span<const Call> apiCalls() { return kCalls; }

}  // namespace fuzz
