#include "identification/single_joint.h"

namespace tarn {

SINGLEJOINTIDENTIFY singleJointIdentify;

}  // namespace tarn
