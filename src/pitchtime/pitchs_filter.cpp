#include "pitchtime/pitchs_filter.h"

namespace korva {

CQvPitchs::CQvPitchs(IUnknown* outer) : CQvStretchFilter(outer, kPitchsEffect) {
  SetPreset(0);
}

HRESULT CQvPitchs::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(CQvStretchFilter, AnswerInterface<IQvPitchsProp>(this, iid, out));
}

}  // namespace korva
