#include "chorus/chorus_filter.h"

#include <cstdlib>

#include "platform/services.h"

namespace korva {

void CQvChorusTransform::ValueSet(std::size_t row) {
  changeMask_.fetch_or(kChorusEffect.rows[row].changeBit, std::memory_order_relaxed);
}

void CQvChorusTransform::AllValuesSet() {
  changeMask_.store(kFull | kWipe, std::memory_order_relaxed);
}

HRESULT CQvChorusTransform::UpdateEngine(const ChorusParams& block, bool continuous, const TempoInfo* tempo) {
  if (!continuous) changeMask_.store(kFull | kWipe, std::memory_order_relaxed);
  const std::uint32_t mask = changeMask_.load(std::memory_order_relaxed);
  if ((mask & kFull) == 0) {
    engine_.CheapRecompute(block, tempo);
    return S_OK;
  }
  const HRESULT result = engine_.FullRecompute(block, (mask & kWipe) != 0, tempo);
  changeMask_.store(kCheap, std::memory_order_relaxed);
  engineReady_ = SUCCEEDED(result);
  return result;
}

CQvChorus::CQvChorus(IUnknown* outer) : CQvInPlaceFilter(outer, kChorusEffect) {
  SetPreset(0);
  stateDirty.store(0, std::memory_order_relaxed);
}

HRESULT CQvChorus::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(
      CQvInPlaceFilter,
      (AnswerInterface<IQvChorusProp2, IMediaParamInfo, IMediaParams, IMediaParamsSetUICallback, IMfxSoftSynth>(
          this, iid, out)));
}

HRESULT CQvChorus::StartEngine(const FormatRecord& format) {
  if (const HRESULT result = engine_.Start(format); FAILED(result)) return result;
  bool changed = false;
  const ChorusParams block = TakeSnapshot(changed);
  // No tempo yet: a synced swing takes effect at the first chunk, which the song's position marks as changed.
  const HRESULT result = UpdateEngine(block, false, nullptr);
  std::srand(platform::TimeMilliseconds() >> 3);
  return result;
}

void CQvChorus::StopEngine() {
  engine_.Release();
}

HRESULT CQvChorus::PickUp(ChunkEvents& events) {
  bool changed = false;
  const ChorusParams block = TakeSnapshot(changed);
  return events.AskForUpdate(changed, engineReady_) ? UpdateEngine(block, events.continuous, events.tempo) : S_OK;
}

HRESULT CQvChorus::RunKernel(ProcessMode, void* data, std::uint32_t& frames, bool) {
  return engine_.bypass() ? kGoOn : engine_.Process(data, frames);
}

HRESULT CQvChorus::ResetEngine(bool rewind) {
  bool changed = false;
  const ChorusParams block = TakeSnapshot(changed);
  if (!changed && !rewind) return S_FALSE;
  return UpdateEngine(block, !rewind, nullptr);
}

}  // namespace korva
