#pragma once

#include "frame/interfaces.h"
#include "frame/module_text.h"
#include "frame/record.h"
#include "qvkit/language.h"
#include "streaming/unknown.h"
#include "streaming/wide_text.h"

namespace korva {

/// The one page of an effect, in task memory.
HRESULT PropertyPagesOf(const EffectDescription& effect, CAUUID* pages);

/// What all six filters have in common, over the platform filter class that each derives from: the record, the presets,
/// the property page, the language.
template <class Base>
class EffectFilter : public Base,
                     public ISpecifyPropertyPages,
                     public IPersistStream,
                     public IStaticFilterPreset,
                     public IQvTranslationInfo {
 public:
  using Base::Base;

  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override {
    KORVA_ANSWER_OR(Base,
                    (AnswerInterface<ISpecifyPropertyPages, IPersistStream, IStaticFilterPreset, IQvTranslationInfo>(
                        this, iid, out)));
  }

  HRESULT GetPages(CAUUID* pages) override { return PropertyPagesOf(parameters().effect(), pages); }

  HRESULT GetClassID(CLSID* classId) override { return Base::GetClassID(classId); }
  HRESULT IsDirty() override {
    return parameters().state().stateDirty.load(std::memory_order_relaxed) != 0 ? S_OK : S_FALSE;
  }
  HRESULT Load(IStream* stream) override { return LoadRecord(parameters(), stream); }
  HRESULT Save(IStream* stream, BOOL clearDirty) override { return SaveRecord(parameters(), stream, clearDirty != 0); }
  HRESULT GetSizeMax(ULARGE_INTEGER* size) override {
    if (size == nullptr) return E_POINTER;
    size->QuadPart = parameters().effect().forms.front().size;
    return S_OK;
  }

  HRESULT GetPresetCount(LONG* count) override {
    if (count == nullptr) return E_POINTER;
    *count = parameters().effect().presets.count();
    return S_OK;
  }
  HRESULT GetPresetName(LONG index, WCHAR* name) override {
    if (name == nullptr) return E_POINTER;
    const PresetTable& presets = parameters().effect().presets;
    if (!presets.Has(index)) return E_INVALIDARG;
    constexpr std::size_t kNameCapacity = 260;
    CopyText(name, kNameCapacity, ModuleText(presets.NameId(index)));
    return S_OK;
  }
  HRESULT SetPreset(LONG index) override { return ApplyPreset(parameters(), index); }

  HRESULT UpdateLanguage(DWORD locale, DWORD reserved1, DWORD reserved2) override {
    return QvLang_UpdateLCID(ModuleLanguage(), locale, reserved1, reserved2) != 0 ? S_OK : E_FAIL;
  }

  /// The effect's parameters, whatever effect it is.
  virtual BlockHolder& parameters() noexcept = 0;
};

/// One effect as a filter: a frame that streams, over the effect's Transform, which brings parameters and engine. A new
/// filter holds preset row 0.
template <class Frame, class Transform>
class EffectOn : public Frame, public Transform {
 public:
  EffectOn(IUnknown* outer, const EffectDescription& effect) : Frame(outer, effect) { this->SetPreset(0); }
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override {
    KORVA_ANSWER_OR(Frame, AnswerListed(typename Transform::Interfaces(), this, iid, out));
  }
  BlockHolder& parameters() noexcept override { return *this; }
};

}  // namespace korva
