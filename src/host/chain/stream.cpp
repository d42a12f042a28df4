#include "host/chain/stream.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "host/number_text.h"
#include "host/parameter_text.h"

namespace korva {
namespace {

/// Buffers with room for a sample, and for any tail that has to fit into one. Remarks where a tail does not.
Outcome<StreamCut> DecideCut(const RenderRequest& request, const std::vector<PreparedEffect>& effects,
                             const FormatRecord& format, std::vector<std::string>& remarks) {
  constexpr double kLeastFrames = 4096;
  constexpr double kMostBytes = std::numeric_limits<LONG>::max(), kMostTailBytes = 1U << 28U;
  if (static_cast<double>(request.blockFrames) * format.blockAlign > kMostBytes) {
    return BadCall("--block " + std::to_string(request.blockFrames) + " makes buffers of more than 2 GiB");
  }
  double frames = std::max<double>(request.blockFrames, kLeastFrames);
  for (const PreparedEffect& effect : effects) {
    const EffectHabits* const habits = effect.request->effect->habits;
    // Streams of 32-bit float ring out in as many buffers as it takes.
    if (habits == nullptr || !habits->ringsInOneBuffer || SampleFormatOf(format) == SampleFormat::kFloat32) continue;
    const double seconds = effect.ringSeconds;
    const double most = std::floor(kMostTailBytes / format.blockAlign);
    const double wanted = std::ceil(seconds * format.samplesPerSecond) + 1;
    if (wanted > most) {
      remarks.push_back(std::string(effect.request->effect->description.name) + " may ring for " +
                        DurationText(seconds) + "; in this sample format it ends after " +
                        DurationText(most / format.samplesPerSecond) + ", with --format f32 it does not");
    }
    frames = std::max(frames, std::min(wanted, most));
  }
  return StreamCut{request.blockFrames, static_cast<std::uint32_t>(frames)};
}

}  // namespace

Outcome<PreparedChain> PrepareChain(const RenderRequest& request, MaterialLength material, const FormatRecord& format,
                                    std::istream& in, std::vector<std::string>& remarks) {
  const Outcome<std::optional<SongMap>> song = ReadSong(request);
  if (!song) return song.earlyExit();
  const SongMap* const map = *song ? &**song : nullptr;
  Outcome<std::vector<PreparedEffect>> effects = PrepareEffects(request, material, map, in, remarks);
  if (!effects) return effects.earlyExit();
  if (map != nullptr) ConnectSongs(*map, *effects, remarks);
  const Outcome<StreamCut> cut = DecideCut(request, *effects, format, remarks);
  if (!cut) return cut.earlyExit();
  return PreparedChain{std::move(*effects), *cut};
}

Outcome<GaugedChain> GaugeChain(const RenderRequest& request, const std::vector<PreparedEffect>& effects,
                                const FormatRecord& format, bool countsLoud) {
  GaugedChain chain;
  const auto add = [&](double frames) {
    auto* const gauge = new (std::nothrow) Gauge(format, countsLoud);
    if (gauge == nullptr) return false;
    chain.gauges.push_back(gauge);
    chain.links.push_back({"the gauge", ComPtr<IBaseFilter>(gauge)});
    if (frames >= 0) gauge->HoldTo(static_cast<std::int64_t>(frames));
    return true;
  };
  bool granted = add(-1);
  for (const PreparedEffect& effect : effects) {
    chain.links.push_back({effect.request->effect->description.name, effect.instance.filter});
    const bool isLast = &effect == &effects.back();
    const bool isHeld = effect.isHeld || (isLast && request.tail && effect.framesIn > 0);
    granted = granted && add(isHeld ? std::floor(effect.framesOut + 0.5) : -1);
  }
  if (!granted) return Failed("out of memory");
  return chain;
}

}  // namespace korva
