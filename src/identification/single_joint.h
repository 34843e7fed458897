// What the identifications of one joint share: the friction run and the model check of the drive.
#pragma once

#include "tmcforceblock.h"

namespace tarn {

extern SINGLEJOINTIDENTIFY singleJointIdentify;

}  // namespace tarn
