#include "frame/effect_filter.h"

#include "platform/services.h"

namespace korva {

HRESULT PropertyPagesOf(const EffectDescription& effect, CAUUID* pages) {
  if (pages == nullptr) return E_POINTER;
  pages->cElems = 0;
  pages->pElems = static_cast<GUID*>(platform::AllocateTaskMemory(sizeof(GUID)));
  if (pages->pElems == nullptr) return E_OUTOFMEMORY;
  *pages->pElems = effect.pageClass;
  pages->cElems = 1;
  return S_OK;
}

}  // namespace korva
