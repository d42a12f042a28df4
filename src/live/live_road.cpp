#include "live/live_road.h"

#include <algorithm>
#include <cmath>

#include "frame/in_place_filter.h"
#include "live/live_mail.h"
#include "live/pitch_pace.h"
#include "pitchtime/stretch_filter.h"
#include "pitchtime/stretch_modes.h"
#include "platform/denormals.h"

namespace korva {

HRESULT InPlaceRoad::Start(std::uint32_t channels, std::uint32_t rate) {
  channels_ = channels;
  rate_ = rate;
  filter_.ReserveForRows(true);
  return filter_.FloatStart(static_cast<WORD>(channels), rate);
}

void InPlaceRoad::Stop() {
  filter_.FloatStop();
}

void InPlaceRoad::Rewind() {
  // A reset of the filter lets a part of what rings go on. A start in a stream finds all its memory there.
  filter_.FloatStart(static_cast<WORD>(channels_), rate_);
}

HRESULT InPlaceRoad::Run(float* samples, float* dry, std::uint32_t frames) {
  if (dry != nullptr) std::copy_n(samples, std::size_t{frames} * channels_, dry);
  return filter_.FloatProcess(samples, frames, 0);
}

HRESULT InPlaceRoad::Tail(float* samples, float* dry, std::uint32_t& frames) {
  DWORD produced = frames;
  const HRESULT result = filter_.FloatTail(samples, &produced);
  frames = static_cast<std::uint32_t>(produced);
  if (dry != nullptr) std::fill_n(dry, std::size_t{frames} * channels_, 0.0F);
  return result;
}

HRESULT InPlaceRoad::Stream(const float* in, std::uint32_t& inFrames, float* out, std::uint32_t& outFrames) {
  if (in == nullptr) return Tail(out, nullptr, outFrames);
  const std::uint32_t frames = std::min(inFrames, outFrames);
  std::copy_n(in, std::size_t{frames} * channels_, out);
  inFrames = outFrames = frames;
  return filter_.FloatProcess(out, frames, 0);
}

bool FrameRing::Allocate(std::uint32_t frames, std::uint32_t channels) noexcept {
  capacity_ = frames;
  channels_ = channels;
  first_ = level_ = 0;
  return samples_.Allocate(std::size_t{frames} * channels);
}

void FrameRing::Put(const float* samples, std::uint32_t frames) noexcept {
  while (frames != 0) {
    const std::uint32_t at = (first_ + level_) % capacity_;
    const std::uint32_t run = std::min(frames, capacity_ - at);
    const std::size_t values = std::size_t{run} * channels_;
    float* const target = samples_.data() + std::size_t{at} * channels_;
    if (samples != nullptr) {
      std::copy_n(samples, values, target);
      samples += values;
    } else {
      std::fill_n(target, values, 0.0F);
    }
    level_ += run;
    frames -= run;
  }
}

void FrameRing::Get(float* samples, std::uint32_t frames) noexcept {
  while (frames != 0) {
    const std::uint32_t run = std::min(frames, capacity_ - first_);
    const std::size_t values = std::size_t{run} * channels_;
    if (samples != nullptr) {
      std::copy_n(samples_.data() + std::size_t{first_} * channels_, values, samples);
      samples += values;
    }
    first_ = (first_ + run) % capacity_;
    level_ -= run;
    frames -= run;
  }
}

std::uint32_t StretchRoad::LatencyOf(std::int32_t mode) const noexcept {
  // A block of the core comes of as much input as it is long times the ratio. The rest is what the interpolator looks
  // ahead, and the whole frames that hops are cut to.
  constexpr double kSlack = 32;
  const double block = static_cast<double>(rate_) * FindStretchMode(mode).blockMs / 1000.0;
  return static_cast<std::uint32_t>(std::ceil(block * kMostPaceRatio + kSlack));
}

std::uint32_t StretchRoad::LatencyNow() const {
  LiveBlock block;
  parameters_.ReadBlock(block.data());
  const std::optional<std::int32_t> mode = KeptLengthMode(parameters_.effect(), block.data());
  return mode ? LatencyOf(*mode) : 0;
}

void StretchRoad::SetLevel(FrameRing& ring, std::uint32_t level) noexcept {
  if (ring.level() > level) ring.Get(nullptr, ring.level() - level);
  if (ring.level() < level) ring.Put(nullptr, level - ring.level());
}

HRESULT StretchRoad::Start(std::uint32_t channels, std::uint32_t rate) {
  channels_ = channels;
  rate_ = rate;
  std::uint32_t longest = 0;
  for (std::int32_t mode = 0; mode < kStretchModes; ++mode) longest = std::max(longest, LatencyOf(mode));
  // Over the level there is at most one piece, and what a piece of input brings forth: a hop, or a piece itself.
  const std::uint32_t room = 2 * longest + 2 * kPiece;
  if (!wet_.Allocate(room, channels) || !dry_.Allocate(room, channels) ||
      !out_.Allocate(std::size_t{kPiece} * channels) || !input_.Allocate(std::size_t{kPiece} * channels)) {
    Stop();
    return E_OUTOFMEMORY;
  }
  StretchEngine& engine = filter_.engine();
  engine.SetKeepPace(true);
  engine.ReserveForRows(true);
  const HRESULT result = engine.Start(MakeFormat(SampleFormat::kFloat32, static_cast<std::uint16_t>(channels), rate));
  if (FAILED(result)) {
    Stop();
    return result;
  }
  latency_ = LatencyNow();
  SetLevel(wet_, latency_);
  SetLevel(dry_, latency_);
  restart_ = true;
  finished_ = false;
  inputFrames_ = inputTaken_ = 0;
  return S_OK;
}

void StretchRoad::Stop() {
  filter_.engine().Stop();
  wet_.Release();
  dry_.Release();
  out_.Release();
  input_.Release();
}

void StretchRoad::Rewind() {
  static_cast<void>(filter_.engine().Reset());
  latency_ = LatencyNow();
  for (FrameRing* ring : {&wet_, &dry_}) {
    ring->Get(nullptr, ring->level());
    ring->Put(nullptr, latency_);
  }
  restart_ = true;
  finished_ = false;
  inputFrames_ = inputTaken_ = 0;
}

void StretchRoad::EngineRebuilt() {
  // The engine starts its wait anew, and the ring is to hold all of it again.
  latency_ = LatencyNow();
  SetLevel(wet_, latency_);
  SetLevel(dry_, latency_);
}

HRESULT StretchRoad::Run(float* samples, float* dry, std::uint32_t frames) {
  // As in a graph.
  const platform::FlushDenormals denormals;
  while (frames != 0) {
    const std::uint32_t piece = std::min(frames, kPiece);
    if (const HRESULT result = RunPiece(samples, dry, piece); FAILED(result)) return result;
    samples += std::size_t{piece} * channels_;
    if (dry != nullptr) dry += std::size_t{piece} * channels_;
    frames -= piece;
  }
  return S_OK;
}

HRESULT StretchRoad::RunPiece(float* samples, float* dry, std::uint32_t frames) {
  StretchEngine& engine = filter_.engine();
  dry_.Put(samples, frames);
  const ProcessMode first = restart_ ? ModeRestart : ModeContinue;
  if (const HRESULT result = engine.PrepareInput(first, samples, frames); FAILED(result)) return result;
  const float* at = samples;
  for (std::uint32_t left = frames;;) {
    const ProcessMode mode = restart_ ? ModeRestart : ModeContinue;
    restart_ = false;
    std::uint32_t taken = left, written = kPiece;
    if (const HRESULT result = engine.Process(mode, at, &taken, out_.data(), &written); FAILED(result)) return result;
    wet_.Put(out_.data(), written);
    at += std::size_t{taken} * channels_;
    left -= taken;
    // A full piece may have more behind it.
    if (left == 0 && written < kPiece) break;
    if (taken == 0 && written == 0) break;
  }
  // Only a ratio that changed over and over makes the ring run over or dry: then frames are left out or put in.
  if (wet_.level() > latency_ + frames) wet_.Get(nullptr, wet_.level() - latency_ - frames);
  if (wet_.level() < frames) wet_.Put(nullptr, frames - wet_.level());
  wet_.Get(samples, frames);
  dry_.Get(dry, frames);
  return S_OK;
}

HRESULT StretchRoad::Tail(float* samples, float* dry, std::uint32_t& frames) {
  const std::uint32_t room = frames;
  HRESULT result = WetTail(samples, frames);
  if (FAILED(result)) return result;
  if (dry != nullptr && frames < room && dry_.level() > frames) {
    // A ratio that changed may have made less than there was.
    const std::uint32_t more = std::min(room, dry_.level()) - frames;
    std::fill_n(samples + std::size_t{frames} * channels_, std::size_t{more} * channels_, 0.0F);
    frames += more;
    if (dry_.level() > frames) result = kGoOn;
  }
  const std::uint32_t held = std::min(frames, dry_.level());
  dry_.Get(dry, held);
  if (dry != nullptr) std::fill_n(dry + std::size_t{held} * channels_, std::size_t{frames - held} * channels_, 0.0F);
  return result;
}

HRESULT StretchRoad::WetTail(float* samples, std::uint32_t& frames) {
  const platform::FlushDenormals denormals;
  const std::uint32_t room = frames;
  frames = 0;
  for (;;) {
    const std::uint32_t run = std::min(room - frames, wet_.level());
    wet_.Get(samples + std::size_t{frames} * channels_, run);
    frames += run;
    if (wet_.level() == 0 && finished_) return kFinished;
    if (frames == room) return kGoOn;
    std::uint32_t written = kPiece;
    const std::int32_t result = filter_.engine().Process(ModeFlush, nullptr, nullptr, out_.data(), &written);
    if (result < 0) return result;
    finished_ = result == kFinished;
    wet_.Put(out_.data(), written);
  }
}

HRESULT StretchRoad::Stream(const float* in, std::uint32_t& inFrames, float* out, std::uint32_t& outFrames) {
  const platform::FlushDenormals denormals;
  StretchEngine& engine = filter_.engine();
  const std::uint32_t offered = in != nullptr ? inFrames : 0, room = outFrames;
  inFrames = outFrames = 0;
  while (outFrames < room) {
    if (inputTaken_ == inputFrames_ && inFrames < offered) {
      inputFrames_ = std::min(kPiece, offered - inFrames);
      inputTaken_ = 0;
      std::copy_n(in + std::size_t{inFrames} * channels_, std::size_t{inputFrames_} * channels_, input_.data());
      inFrames += inputFrames_;
      const ProcessMode mode = restart_ ? ModeRestart : ModeContinue;
      if (const HRESULT result = engine.PrepareInput(mode, input_.data(), inputFrames_); FAILED(result)) return result;
    }
    const bool flush = in == nullptr && inputTaken_ == inputFrames_;
    std::uint32_t taken = inputFrames_ - inputTaken_, written = room - outFrames;
    const ProcessMode mode = flush ? ModeFlush : restart_ ? ModeRestart : ModeContinue;
    if (!flush && taken == 0) return kGoOn;
    restart_ = restart_ && flush;
    const std::int32_t result = engine.Process(mode, input_.data() + std::size_t{inputTaken_} * channels_, &taken,
                                               out + std::size_t{outFrames} * channels_, &written);
    if (result < 0) return result;
    inputTaken_ += taken;
    outFrames += written;
    if (flush && result == kFinished) return kFinished;
  }
  return kGoOn;
}

}  // namespace korva
