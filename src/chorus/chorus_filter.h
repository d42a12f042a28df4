#pragma once

#include <atomic>

#include "chorus/chorus_engine.h"
#include "chorus/chorus_property.h"
#include "frame/automated_transform.h"
#include "frame/in_place_filter.h"

namespace korva {

/// The Chorus's parameters and engine, and the road from one to the other.
class CQvChorusTransform : public AutomatedTransform<IQvChorusProp2, ChorusParams>, public CMFXTempo {
 public:
  KORVA_CHORUS_GROUPS(KORVA_IMPLEMENT_GROUP)
  HRESULT GetFormat(WAVEFORMATEX* format) override { return TransformState::GetFormat(format); }
  HRESULT IsTempoAvailable() override { return HasTempo() ? 1 : 0; }

 protected:
  CQvChorusTransform() noexcept : AutomatedTransform(kChorusEffect) {}

  /// Turns a block into engine state: what `changeMask` asks for, and all of it at a discontinuity. The audio thread's.
  HRESULT UpdateEngine(const ChorusParams& block, bool continuous, const TempoInfo* tempo);

  void ValueSet(std::size_t row) override;
  void AllValuesSet() override;

  ChorusEngine engine_;
  bool engineReady_ = false;  // the last update succeeded

 private:
  // What the next update has to do. Bits of the rows, and:
  static constexpr std::uint32_t kCheap = 1;  // always left standing: any later change at least runs this
  static constexpr std::uint32_t kFull = 2;   //
  static constexpr std::uint32_t kWipe = 4;   // with kFull: also clear the lines and reset the write positions
  std::atomic<std::uint32_t> changeMask_{kFull | kWipe};
};

/// The Chorus as a filter. It has no tail: what its lines hold at the end of a stream is let go.
class CQvChorus final : public CQvInPlaceFilter, public CQvChorusTransform {
 public:
  /// A new filter holds preset row 0 and counts as saved.
  explicit CQvChorus(IUnknown* outer);
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;
  BlockHolder& parameters() noexcept override { return *this; }

 protected:
  CQvPlugInParams* automation() noexcept override { return this; }
  CMFXTempo* tempo() noexcept override { return this; }
  HRESULT StartEngine(const FormatRecord& format) override;
  void StopEngine() override;
  HRESULT PickUp(ChunkEvents& events) override;
  HRESULT RunKernel(ProcessMode mode, void* data, std::uint32_t& frames, bool tailOnly) override;
  HRESULT ResetEngine(bool rewind) override;
};

}  // namespace korva
