#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>

#include "audio/format_record.h"
#include "audio/param_source.h"
#include "frame/in_place_filter.h"

namespace korva {

/// What the frame asks of an engine that works in place. All engines go by the same verbs: `Start` makes one ready for
/// a stream of a format, out of silence; `Stop` frees its memory; `Update` (in some engines `UpdateEngine`) brings
/// parameters in between kernels; `Process` runs frames; `Reset`, in effects without automation,
/// restarts in mid-stream.
template <class Engine>
concept InPlaceEngine = requires(Engine& engine, const FormatRecord& format, ProcessMode mode, void* buffer,
                                 std::uint32_t& frames, bool tailOnly) {
  { engine.Start(format) } -> std::same_as<std::int32_t>;
  engine.Stop();
  { engine.Process(mode, buffer, frames, tailOnly) } -> std::same_as<std::int32_t>;
};

/// An engine that rings on after its input says when it has come to its end.
template <class Engine>
concept RingingEngine = requires(const Engine& engine) {
  { engine.tailOnlyDone() } -> std::same_as<bool>;
};

/// One of the four effects that work in place, as a filter.
///
/// An engine is brought in line in one of two ways. One that is handed its parameters has a Transform with
/// `Update(block, mode, tempo)` and `engineReady()`. One that fetches them by itself finds them at its start and in its
/// kernels; its effect says what else it needs in `PickUp`.
template <class Transform>
class InPlaceEffect : public EffectOn<CQvInPlaceFilter, Transform> {
 public:
  using EffectOn<CQvInPlaceFilter, Transform>::EffectOn;

  void ReserveForRows(bool on) override {
    // An engine without this takes all its memory at the start anyway.
    if constexpr (requires { this->engine_.ReserveForRows(on); }) this->engine_.ReserveForRows(on);
  }

 protected:
  CQvPlugInParams* automation() noexcept override {
    if constexpr (kAutomated) return this;
    return nullptr;
  }
  CMFXTempo* tempo() noexcept override {
    if constexpr (std::is_base_of_v<CMFXTempo, Transform>) return this;
    return nullptr;
  }

  HRESULT StartEngine(const FormatRecord& format) override {
    static_assert(InPlaceEngine<decltype(this->engine_)>);
    const HRESULT result = this->engine_.Start(format);
    if constexpr (kFetches) {
      return result;
    } else {
      if (FAILED(result)) return result;
      bool changed = false;
      const auto block = this->TakeSnapshot(changed);
      // No tempo yet: what follows one takes effect at the first chunk, which the song's position marks as changed.
      return this->Update(block, ModeRestart, nullptr);
    }
  }
  void StopEngine() override { this->engine_.Stop(); }
  bool HasTail() override { return RingingEngine<decltype(this->engine_)>; }
  bool TailIsOver() override {
    if constexpr (RingingEngine<decltype(this->engine_)>) return this->engine_.tailOnlyDone();
    return true;
  }
  HRESULT PickUp(ChunkEvents& events) override {
    if constexpr (!kFetches) {
      bool changed = false;
      const auto block = this->TakeSnapshot(changed);
      if (events.AskForUpdate(changed, this->engineReady())) return this->Update(block, events.mode, events.tempo);
    }
    return S_OK;
  }
  HRESULT RunKernel(ProcessMode mode, void* data, std::uint32_t& frames, bool tailOnly) override {
    return this->engine_.Process(mode, data, frames, tailOnly);
  }
  HRESULT ChangesWaiting() override {
    // An engine that is handed its parameters has no answer to give.
    return kFetches && this->paramsChanged.load(std::memory_order_relaxed) != 0 ? S_OK : S_FALSE;
  }
  HRESULT ResetEngine(bool rewind, const TempoInfo* tempo) override {
    if constexpr (kAutomated) {
      bool changed = false;
      const auto block = this->TakeSnapshot(changed);
      if (!changed && !rewind) return S_FALSE;
      return this->Update(block, rewind ? ModeRestart : ModeContinue, tempo);
    } else {
      return this->engine_.Reset(rewind);
    }
  }

 private:
  static constexpr bool kAutomated = std::is_base_of_v<CQvPlugInParams, Transform>;
  static constexpr bool kFetches = std::is_base_of_v<ParamSource<typename Transform::Params>, Transform>;
};

}  // namespace korva
