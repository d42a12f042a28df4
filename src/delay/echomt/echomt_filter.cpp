#include "delay/echomt/echomt_filter.h"

#include <cstdlib>

#include "platform/services.h"

namespace korva {

CQvEchomt::CQvEchomt(IUnknown* outer) : CQvInPlaceFilter(outer, kEchomtEffect) {
  SetPreset(0);
}

HRESULT CQvEchomt::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(CQvInPlaceFilter, AnswerInterface<IQvEchomtProp>(this, iid, out));
}

HRESULT CQvEchomt::StartEngine(const FormatRecord& format) {
  engine_.SetFormat(format);
  const HRESULT result = engine_.RestartEngine();
  std::srand(platform::TimeMilliseconds() >> 3);
  return result;
}

HRESULT CQvEchomt::RunKernel(ProcessMode mode, void* data, std::uint32_t& frames, bool tailOnly) {
  return engine_.Process(mode, data, frames, tailOnly);
}

HRESULT CQvEchomt::ChangesWaiting() {
  return paramsChanged.load(std::memory_order_relaxed) != 0 ? S_OK : S_FALSE;
}

}  // namespace korva
