// Records of every effect: the first byte names the effect, all others are the record.

#include "frame/row_values.h"
#include "input.h"
#include "live/live_effect.h"
#include "support/memory_stream.h"
#include "support/signals.h"

namespace korva {
namespace {

LiveBlock BlockOf(const EffectInstance& effect) {
  LiveBlock block;
  effect.parameters->ReadBlock(block.data());
  return block;
}

Bytes Saved(const EffectInstance& effect) {
  MemoryStream stream;
  Require(Query<IPersistStream>(effect.filter.Get())->Save(&stream, TRUE) == S_OK, "an effect can be saved");
  return stream.bytes;
}

bool Load(const EffectInstance& effect, const Bytes& record) {
  MemoryStream stream(record);
  return SUCCEEDED(Query<IPersistStream>(effect.filter.Get())->Load(&stream));
}

/// A refused record changes nothing. One that is taken leaves values in their ranges, and saved and loaded again is the
/// same.
bool LoadsWhole(const EffectKind& kind, const Bytes& record, Bytes& saved) {
  const EffectInstance effect = kind.create(), second = kind.create();
  const LiveBlock before = BlockOf(effect);
  const bool taken = Load(effect, record);
  const LiveBlock after = BlockOf(effect);
  if (!taken) Require(after.bytes == before.bytes, "a refused record changes nothing");
  saved = Saved(effect);
  Require(Load(second, saved), "what was saved loads");
  Require(Saved(second) == saved, "what was saved and loaded is saved the same");
  return taken;
}

/// The same record where a host holds no graph, and a little audio through what it asks for.
void PlayLive(const EffectKind& kind, const Bytes& record, bool taken, const Bytes& saved) {
  LiveEffect effect(kind);
  const LiveResult result = effect.LoadRecord(std::as_bytes(std::span(record)));
  Require((result == LiveResult::kDone) == taken, "both ways to load a record agree on it");
  Bytes again(effect.recordSize());
  Require(effect.SaveRecord(std::as_writable_bytes(std::span(again))) == LiveResult::kDone, "an effect can be saved");
  Require(again == saved, "both ways save the same");
  for (std::size_t row = 0; row < kind.description.rows.size(); ++row) {
    double value = 0;
    Require(effect.Get(row, value) == LiveResult::kDone, "every row has a value");
  }
  for (const auto use : {LiveEffect::Use::kFixedLatency, LiveEffect::Use::kVariableLength}) {
    if (effect.Start(use, 2, 2000) != LiveResult::kDone) continue;
    constexpr std::uint32_t kFrames = 300;
    const std::vector<float> in(std::size_t{2} * kFrames, 0.25F);
    std::vector<float> out = in;
    bool ended = false;
    if (use == LiveEffect::Use::kFixedLatency) {
      std::uint32_t frames = kFrames;
      Require(effect.Process(out.data(), kFrames) == LiveResult::kDone, "a started effect runs");
      effect.Tail(out.data(), frames, ended);
      Require(frames <= kFrames, "a tail fits its buffer");
    } else {
      std::uint32_t used = kFrames, given = kFrames;
      Require(effect.Stream(in.data(), used, out.data(), given, ended) == LiveResult::kDone, "a started effect runs");
      Require(used <= kFrames && given <= kFrames, "no more is taken and given than there was");
      static_cast<void>(effect.heldFrames());
    }
    effect.Stop();
  }
}

}  // namespace
}  // namespace korva

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korva;
  Input input(data, size);
  const EffectKind& kind = EffectKinds()[input.TakeUpTo(kEffectCount - 1)];
  const Bytes record = input.Rest();
  Bytes saved;
  const bool taken = LoadsWhole(kind, record, saved);
  PlayLive(kind, record, taken, saved);
  return 0;
}
