#include "delay/echos/echos_filter.h"

namespace korva {

bool CQvEchos::PassesChunk() {
  if (ReadOne(kEchosBypass) == 0) {
    engine_.LeaveBypass();
    return false;
  }
  engine_.EnterBypass();
  return true;
}

}  // namespace korva
