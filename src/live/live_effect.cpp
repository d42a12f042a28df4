#include "live/live_effect.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <new>

#include "frame/row_values.h"
#include "live/pitch_pace.h"

namespace korva {
namespace {

constexpr std::uint32_t kStepsPerSecond = 1000;
constexpr std::uint32_t kFadesPerSecond = 100;

bool Glides(const ParamDescriptor& row) noexcept {
  return row.info.mopCaps == static_cast<MP_CAPS>(kCurvesAll) && row.changeBit == kChangeRefresh && !row.buildsLine;
}

LiveResult ResultOf(HRESULT result) noexcept {
  return SUCCEEDED(result) ? LiveResult::kDone : result == E_OUTOFMEMORY ? LiveResult::kMemory : LiveResult::kState;
}

}  // namespace

LiveEffect::LiveEffect(const EffectKind& kind) noexcept : kind_(kind), instance_(kind.create()) {
  if (!instance_.filter) return;
  if (instance_.inPlace != nullptr) {
    road_.reset(new (std::nothrow) InPlaceRoad(*instance_.inPlace));
  } else {
    road_.reset(new (std::nothrow) StretchRoad(*instance_.stretch, *instance_.parameters));
  }
  instance_.parameters->ReadBlock(block_.data());
  now_ = block_;
}

LiveEffect::~LiveEffect() {
  Stop();
  // The effect must not outlive the map that it holds uncounted.
  if (connected_) {
    if (const ComPtr<IMfxSoftSynth> synth = Query<IMfxSoftSynth>(instance_.filter.Get())) synth->Disconnect();
  }
}

LiveResult LiveEffect::Post(const LiveBlock& block, bool whole) noexcept {
  const bool held = running() && use_ == Use::kFixedLatency;
  if (held && !KeepsPace(description(), block.data())) return LiveResult::kLength;
  std::uint64_t changes = whole ? LiveMail::kWholeBlock : 0;
  const auto rows = description().rows;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    if (!SameField(rows[row], block.data(), block_.data())) changes |= LiveMail::RowBit(row);
  }
  block_ = block;
  if (changes != 0) mail_.Post(block, changes);
  return LiveResult::kDone;
}

LiveResult LiveEffect::Set(std::size_t row, double value) noexcept {
  if (row >= description().rows.size()) return LiveResult::kUnknown;
  const ParamDescriptor& descriptor = description().rows[row];
  const double shown = value / CommandFactor(descriptor);
  // Compared as the row's own floats, so that the bound that is shown is a value that may be set.
  const auto narrowed = static_cast<float>(shown);
  if (!(narrowed >= descriptor.info.mpdMinValue && narrowed <= descriptor.info.mpdMaxValue)) return LiveResult::kRange;
  const bool whole =
      descriptor.info.mpType == MPT_INT || descriptor.info.mpType == MPT_ENUM || descriptor.info.mpType == MPT_BOOL;
  if (whole && shown != std::floor(shown)) return LiveResult::kRange;
  const std::lock_guard guard(control_);
  LiveBlock block = block_;
  StoreDisplayValue(descriptor, block.data(), shown);
  if (SameField(descriptor, block.data(), block_.data())) return LiveResult::kDone;
  if (description().afterSet != nullptr) description().afterSet(row, block.data());
  return Post(block, false);
}

LiveResult LiveEffect::Get(std::size_t row, double& value) const noexcept {
  if (row >= description().rows.size()) return LiveResult::kUnknown;
  const ParamDescriptor& descriptor = description().rows[row];
  // A damaged record may hold what its effect keeps and acts on as something else.
  LiveBlock held;
  {
    const std::lock_guard guard(control_);
    held = block_;
  }
  HoldField(descriptor, held.data());
  value = LoadDisplayValue(descriptor, held.data()) * CommandFactor(descriptor);
  return LiveResult::kDone;
}

LiveResult LiveEffect::ApplyPreset(std::int32_t index) noexcept {
  const PresetTable& presets = description().presets;
  if (!presets.Has(index)) return LiveResult::kUnknown;
  LiveBlock block;
  std::memcpy(block.data(), presets.Block(index), description().blockSize);
  const std::lock_guard guard(control_);
  return Post(block, true);
}

LiveResult LiveEffect::SaveRecord(std::span<std::byte> record) const noexcept {
  const RecordForm& form = description().forms.front();
  if (record.size() < form.size) return LiveResult::kRange;
  const RecordHeader header{form.size, form.id};
  std::memcpy(record.data(), &header, sizeof header);
  const std::lock_guard guard(control_);
  std::memcpy(record.data() + sizeof header, block_.data(), description().blockSize);
  return LiveResult::kDone;
}

LiveResult LiveEffect::LoadRecord(std::span<const std::byte> record) noexcept {
  LiveBlock block;
  if (!ReadRecord(description(), record, block.data())) return LiveResult::kRecord;
  HoldBlock(description(), block.data());
  const std::lock_guard guard(control_);
  return Post(block, true);
}

LiveResult LiveEffect::SetTempo(double bpm, std::int32_t top, std::int32_t bottom) noexcept {
  return tempo_.Set(bpm, top, bottom) ? LiveResult::kDone : LiveResult::kRange;
}

LiveResult LiveEffect::Start(Use use, std::uint32_t channels, std::uint32_t rate) noexcept {
  if (running()) return LiveResult::kState;
  if (channels < 1 || channels > kMaxChannels || rate < 1 || rate > kMostRate) return LiveResult::kFormat;
  {
    const std::lock_guard guard(control_);
    if (use == Use::kFixedLatency && !KeepsPace(description(), block_.data())) return LiveResult::kLength;
    use_ = use;
    running_.store(true, std::memory_order_relaxed);
    now_ = block_;
    // What has been posted so far is in the block.
    const LiveBlock* posted = nullptr;
    mail_.Take(posted);
  }
  instance_.parameters->WriteBlock(now_.data());
  channels_ = channels;
  rate_ = rate;
  gliding_ = 0;
  tempoTold_ = false;
  fadeLength_ = std::max(rate / kFadesPerSecond, std::uint32_t{1});
  fade_ = enabled_.load(std::memory_order_relaxed) ? fadeLength_ : 0;
  fresh_ = true;
  const bool granted = piece_.Allocate(std::size_t{kPiece} * channels) && dry_.Allocate(std::size_t{kPiece} * channels);
  const LiveResult result = granted ? ResultOf(road_->Start(channels, rate)) : LiveResult::kMemory;
  owed_ = 0;
  held_.store(0, std::memory_order_relaxed);
  if (result != LiveResult::kDone) Stop();
  TellLatency();
  return result;
}

void LiveEffect::Stop() noexcept {
  if (!running()) return;
  road_->Stop();
  piece_.Release();
  dry_.Release();
  running_.store(false, std::memory_order_relaxed);
  TellLatency();
}

void LiveEffect::Rewind() noexcept {
  if (!running()) return;
  EndGlides();
  tempoTold_ = false;
  fresh_ = true;
  PickUp();
  road_->Rewind();
  owed_ = 0;
  held_.store(0, std::memory_order_relaxed);
}

/// Changes are picked up. Before the first frame the switch stands where it is set, without a fade.
void LiveEffect::BeginBuffer(std::uint32_t frames) noexcept {
  PickUp();
  TellLatency();
  if (fresh_) fade_ = enabled_.load(std::memory_order_relaxed) ? fadeLength_ : 0;
  if (frames != 0) fresh_ = false;
}

void LiveEffect::TellLatency() noexcept {
  latency_.store(running() && use_ == Use::kFixedLatency ? road_->latency() : 0, std::memory_order_relaxed);
}

std::uint64_t LiveEffect::heldFrames() const noexcept {
  return use_ == Use::kFixedLatency ? latency() : held_.load(std::memory_order_relaxed);
}

void LiveEffect::WriteRow(std::size_t row, const LiveBlock& block) noexcept {
  const ParamDescriptor& descriptor = description().rows[row];
  const bool rebuilds = descriptor.changeBit == kChangeRebuild && !SameField(descriptor, block.data(), now_.data());
  CopyField(descriptor, now_.data(), block.data());
  instance_.parameters->WriteRow(row, block.data());
  if (rebuilds) road_->EngineRebuilt();
}

/// Once for each start: an engine that was made ready knows no tempo, and the song's first chunk brings it.
void LiveEffect::TellTempo() noexcept {
  if (tempoTold_ || !tempo_.known()) return;
  tempoTold_ = true;
  const ComPtr<IMfxSoftSynth> synth = Query<IMfxSoftSynth>(instance_.filter.Get());
  if (!synth) return;
  if (!connected_) synth->Connect(static_cast<IMfxTempoMap*>(&tempo_));
  connected_ = true;
  synth->OnStart(0);
}

void LiveEffect::PickUp() noexcept {
  TellTempo();
  const LiveBlock* block = nullptr;
  std::uint64_t changes = mail_.Take(block);
  if (changes == 0) return;
  if (fresh_ || (changes & LiveMail::kWholeBlock) != 0) {
    gliding_ = 0;
    now_ = *block;
    instance_.parameters->WriteBlock(block->data());
    if (fresh_) {
      road_->Rewind();
    } else {
      road_->EngineRebuilt();
    }
    return;
  }
  for (; changes != 0; changes &= changes - 1) {
    const auto row = static_cast<std::size_t>(std::countr_zero(changes));
    const ParamDescriptor& descriptor = description().rows[row];
    if (!Glides(descriptor)) {
      WriteRow(row, *block);
      continue;
    }
    glides_[row] = {LoadDisplayValue(descriptor, now_.data()), LoadDisplayValue(descriptor, block->data()),
                    kGlideSteps};
    if (gliding_ == 0) framesToStep_ = 0;
    gliding_ |= LiveMail::RowBit(row);
  }
}

void LiveEffect::StepGlides() noexcept {
  framesToStep_ = std::max(rate_ / kStepsPerSecond, std::uint32_t{1});
  for (std::uint64_t rows = gliding_; rows != 0; rows &= rows - 1) {
    const auto row = static_cast<std::size_t>(std::countr_zero(rows));
    Glide& glide = glides_[row];
    --glide.stepsLeft;
    LiveBlock block = now_;
    const double way = static_cast<double>(glide.stepsLeft) / kGlideSteps;
    StoreDisplayValue(description().rows[row], block.data(), glide.to - (glide.to - glide.from) * way);
    WriteRow(row, block);
    if (glide.stepsLeft == 0) gliding_ &= ~LiveMail::RowBit(row);
  }
}

void LiveEffect::EndGlides() noexcept {
  for (Glide& glide : glides_) glide.stepsLeft = 1;
  StepGlides();
}

LiveResult LiveEffect::Run(float* samples, std::uint32_t frames) noexcept {
  while (frames != 0) {
    if (gliding_ != 0 && framesToStep_ == 0) StepGlides();
    const std::uint32_t run = gliding_ != 0 ? std::min(frames, framesToStep_) : frames;
    const bool enabled = enabled_.load(std::memory_order_relaxed);
    const bool plain = enabled && fade_ == fadeLength_;
    const HRESULT result = plain ? road_->Run(samples, nullptr, run) : RunFaded(samples, run, enabled);
    if (FAILED(result)) return ResultOf(result);
    if (gliding_ != 0) framesToStep_ -= run;
    samples += std::size_t{run} * channels_;
    frames -= run;
  }
  return LiveResult::kDone;
}

HRESULT LiveEffect::RunFaded(float* samples, std::uint32_t frames, bool enabled) noexcept {
  while (frames != 0) {
    const std::uint32_t run = std::min(frames, kPiece);
    if (const HRESULT result = road_->Run(samples, dry_.data(), run); FAILED(result)) return result;
    Fade(samples, run, enabled);
    samples += std::size_t{run} * channels_;
    frames -= run;
  }
  return S_OK;
}

void LiveEffect::Fade(float* samples, std::uint32_t frames, bool enabled) noexcept {
  const float* dry = dry_.data();
  for (std::uint32_t i = 0; i < frames; ++i) {
    if (enabled && fade_ < fadeLength_) ++fade_;
    if (!enabled && fade_ > 0) --fade_;
    const float wet = static_cast<float>(fade_) / static_cast<float>(fadeLength_);
    for (std::uint32_t c = 0; c < channels_; ++c, ++samples, ++dry) {
      *samples = fade_ == 0 ? *dry : fade_ == fadeLength_ ? *samples : *dry + (*samples - *dry) * wet;
    }
  }
}

LiveResult LiveEffect::Process(float* samples, std::uint32_t frames) noexcept {
  if (!running() || use_ != Use::kFixedLatency) return LiveResult::kState;
  BeginBuffer(frames);
  return Run(samples, frames);
}

LiveResult LiveEffect::ProcessPlanar(const float* const* in, float* const* out, std::uint32_t frames) noexcept {
  if (!running() || use_ != Use::kFixedLatency) return LiveResult::kState;
  BeginBuffer(frames);
  for (std::uint32_t done = 0; done < frames;) {
    const std::uint32_t run = std::min(frames - done, kPiece);
    for (std::uint32_t c = 0; c < channels_; ++c) {
      for (std::uint32_t i = 0; i < run; ++i) piece_[std::size_t{i} * channels_ + c] = in[c][done + i];
    }
    if (const LiveResult result = Run(piece_.data(), run); result != LiveResult::kDone) return result;
    for (std::uint32_t c = 0; c < channels_; ++c) {
      for (std::uint32_t i = 0; i < run; ++i) out[c][done + i] = piece_[std::size_t{i} * channels_ + c];
    }
    done += run;
  }
  return LiveResult::kDone;
}

LiveResult LiveEffect::Tail(float* samples, std::uint32_t& frames, bool& ended) noexcept {
  if (!running() || use_ != Use::kFixedLatency) {
    frames = 0;
    return LiveResult::kState;
  }
  const std::uint32_t room = frames;
  frames = 0;
  ended = false;
  if (fresh_) fade_ = enabled_.load(std::memory_order_relaxed) ? fadeLength_ : 0;
  do {
    const bool enabled = enabled_.load(std::memory_order_relaxed);
    const bool plain = enabled && fade_ == fadeLength_, off = !enabled && fade_ == 0;
    std::uint32_t run = room - frames;
    if (!plain) run = std::min(run, kPiece);
    if (off) run = std::min(run, road_->dryFrames());
    const HRESULT result = road_->Tail(samples, plain ? nullptr : dry_.data(), run);
    if (FAILED(result)) return ResultOf(result);
    if (!plain) Fade(samples, run, enabled);
    samples += std::size_t{run} * channels_;
    frames += run;
    ended = result != S_OK || (off && road_->dryFrames() == 0);
  } while (frames < room && !ended);
  return LiveResult::kDone;
}

LiveResult LiveEffect::Stream(const float* in, std::uint32_t& inFrames, float* out, std::uint32_t& outFrames,
                              bool& ended) noexcept {
  if (!running() || use_ != Use::kVariableLength) {
    inFrames = outFrames = 0;
    return LiveResult::kState;
  }
  BeginBuffer(inFrames);
  // Values glide here too, so no more is taken than up to the next step.
  if (in != nullptr && gliding_ != 0) {
    if (framesToStep_ == 0) StepGlides();
    if (gliding_ != 0) inFrames = std::min(inFrames, framesToStep_);
  }
  if (in == nullptr) inFrames = 0;
  const HRESULT result = road_->Stream(in, inFrames, out, outFrames);
  if (in != nullptr && gliding_ != 0) framesToStep_ -= std::min(inFrames, framesToStep_);
  ended = in == nullptr && result != S_OK;
  owed_ += inFrames * LengthFactor(description(), now_.data()) - outFrames;
  held_.store(ended || owed_ < 0 ? 0 : static_cast<std::uint64_t>(owed_), std::memory_order_relaxed);
  return ResultOf(result);
}

}  // namespace korva
