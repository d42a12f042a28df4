#include "delay/echos/echos_filter.h"

#include <cstdlib>

#include "platform/services.h"

namespace korva {

CQvEchos::CQvEchos(IUnknown* outer) : CQvInPlaceFilter(outer, kEchosEffect) {
  SetPreset(0);
}

HRESULT CQvEchos::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(
      CQvInPlaceFilter,
      (AnswerInterface<IQvEchosProp2, IMediaParamInfo, IMediaParams, IMediaParamsSetUICallback, IMfxSoftSynth>(
          this, iid, out)));
}

HRESULT CQvEchos::StartEngine(const FormatRecord& format) {
  engine_.SetFormat(format);
  engine_.LeaveBypass();
  bool changed = false;
  const EchosParams block = TakeSnapshot(changed);
  const HRESULT result = engine_.UpdateEngine(block, ModeRestart, nullptr);
  std::srand(platform::TimeMilliseconds() >> 3);
  return result;
}

bool CQvEchos::PassesChunk() {
  if (ReadOne(kEchosBypass) == 0) {
    engine_.LeaveBypass();
    return false;
  }
  engine_.EnterBypass();
  return true;
}

HRESULT CQvEchos::PickUp(ChunkEvents& events) {
  bool changed = false;
  const EchosParams block = TakeSnapshot(changed);
  if (!events.AskForUpdate(changed, engine_.engineReady())) return S_OK;
  return engine_.UpdateEngine(block, events.mode, events.tempo);
}

HRESULT CQvEchos::RunKernel(ProcessMode mode, void* data, std::uint32_t& frames, bool tailOnly) {
  return engine_.Process(mode, data, frames, tailOnly);
}

HRESULT CQvEchos::ResetEngine(bool rewind) {
  bool changed = false;
  const EchosParams block = TakeSnapshot(changed);
  if (!changed && !rewind) return S_FALSE;
  return engine_.UpdateEngine(block, rewind ? ModeRestart : ModeContinue, nullptr);
}

}  // namespace korva
