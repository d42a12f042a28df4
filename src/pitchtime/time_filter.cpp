#include "pitchtime/time_filter.h"

#include <algorithm>

namespace korva {

HRESULT CQvTimeTransform::SetTempo(DWORD value) {
  const auto most = static_cast<std::uint32_t>(kTimeEffect.rows[kTimeTempo].externalMax);
  return SetField(&TimeParams::tempoTimes100, std::min<std::uint32_t>(value, most), kTimeTempo);
}

}  // namespace korva
