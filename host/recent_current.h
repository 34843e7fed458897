// The last commanded currents of joint 2, by which its collision threshold widens. Internal to the host.
#pragma once

namespace tarn::host {

void keepCurrent();  // once a cycle
void forgetCurrents();

}  // namespace tarn::host
