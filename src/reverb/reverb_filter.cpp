#include "reverb/reverb_filter.h"

namespace korva {

bool CQvReverbTransform::FetchParams(ReverbParams& block) noexcept {
  bool changed = false;
  block = TakeSnapshot(changed);
  return changed;
}

void CQvReverbTransform::ValueSet(std::size_t row) {
  if (row == kReverbMode || row == kReverbEarlyStyle || row == kReverbPreDelay) engine_.MarkLinesStale(true);
}

void CQvReverbTransform::HostChangedValue(DWORD index) {
  // The mode is not among them: a host that automates it gets its gains on the lines that there are.
  if (index == kReverbPreDelay || index == kReverbEarlyStyle || index == kAllParams) engine_.MarkLinesStale(true);
}

HRESULT CQvReverb::PickUp(ChunkEvents& events) {
  // On the direct road the kernel finds a setter's flags itself, and with them its request for new lines.
  if (events.direct && events.changeBits == 0) return S_OK;
  bool changed = false;
  const ReverbParams block = TakeSnapshot(changed);
  const bool update = events.direct || changed || !engine_.engineReady() || events.changeBits != 0 || events.afterSkip;
  if (!update) return S_OK;
  // This overwrites what a setter asked for: in a running graph its new lines wait for the next restart.
  engine_.MarkLinesStale((events.changeBits & kChangeRebuild) != 0);
  if (events.afterSkip) engine_.MarkNotReady();
  const HRESULT result = engine_.UpdateEngine(block, events.mode);
  if (events.mode == ModeRestart) events.mode = ModeContinue;
  return result;
}

}  // namespace korva
