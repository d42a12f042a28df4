#include "pitchtime/resampler.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "audio/pair.h"
#include "audio/pi.h"
#include "audio/process_mode.h"
#include "audio/single.h"

namespace korva {
namespace {

/// What the taps of one frame give, the newest frame's first.
template <int kTaps, class Lanes>
void SumTaps(const double* weights, const double* newest, std::size_t channels, double* out) noexcept {
  Lanes sum = Lanes::Broadcast(0.0);
  for (int tap = 0; tap < kTaps; ++tap, newest -= channels) {
    sum = sum + Lanes::Broadcast(weights[tap]) * Lanes::Load(newest);
  }
  sum.Store(out);
}

}  // namespace

std::int32_t Resampler::Configure(std::int32_t accuracy, std::uint32_t channels) noexcept {
  halfTaps_ = accuracy == 1 ? 1 : accuracy == 3 ? 7 : 4;
  tapCount_ = accuracy == 1 ? 2 : 2 * halfTaps_ + 1;
  channels_ = channels;
  primeRing_ = false;
  const auto frames = static_cast<std::size_t>(tapCount_) + kReadAhead;
  const bool granted = history_.Allocate(frames * channels) &&
                       block_.Allocate(static_cast<std::size_t>(kBlock) * channels) && BuildRows();
  if (!granted) Release();
  return granted ? kGoOn : kEngineOutOfMemory;
}

void Resampler::SetKernels(SampleFormat source, SampleFormat destination) noexcept {
  read_ = ChooseReadKernel<double>(source);
  write_ = ChooseWriteKernel<double>(destination);
  sourceSampleBytes_ = SampleBytes(source);
  destinationSampleBytes_ = SampleBytes(destination);
}

void Resampler::SetRatio(double ratio) noexcept {
  ratio_ = ratio;
  framesRead_ = 0;
  framesWritten_ = 0;
  wantedPosition_ = 0;
  heldBack_ = false;
}

void Resampler::Release() noexcept {
  if (!keepTables_) {
    for (auto& table : rowTables_) table.Release();
  }
  history_.Release();
  block_.Release();
}

void Resampler::Free() noexcept {
  keepTables_ = false;
  Release();
  history_.KeepMemory(false);
  block_.KeepMemory(false);
}

std::int32_t Resampler::ReserveForAccuracies(std::uint32_t channels) noexcept {
  keepTables_ = true;
  history_.KeepMemory(true);
  block_.KeepMemory(true);
  for (const std::int32_t accuracy : {1, 2, 3}) {
    if (const std::int32_t result = Configure(accuracy, channels); result < 0) return result;
  }
  return kGoOn;
}

bool Resampler::BuildRows() noexcept {
  // Straight lines need none.
  if (tapCount_ == 2) return true;
  ZeroedBuffer<double>& own = rowTables_[tapCount_ == 15 ? 1 : 0];
  if (keepTables_ && !own.empty()) return true;
  if (!keepTables_) rowTables_[tapCount_ == 15 ? 0 : 1].Release();
  double table[kSpan + 1];
  const double span = halfTaps_ + 1;
  table[0] = 1.0;
  for (std::int32_t i = 1; i < kSpan; ++i) {
    const double x = span * i / kSpan * kPi;
    const double t = x / span + kPi;
    const double window = 0.35875 - 0.48829 * std::cos(t) + 0.14128 * std::cos(2 * t) - 0.01168 * std::cos(3 * t);
    table[i] = window * std::sin(x) / x;
  }
  table[kSpan] = table[kSpan - 1];

  const std::int32_t steps = StepsOf(tapCount_);
  const std::size_t length = RowLength(tapCount_);
  if (!own.Allocate(static_cast<std::size_t>(steps + 1) * length)) return false;
  for (std::int32_t step = 0; step <= steps; ++step) {
    double* const row = own.data() + static_cast<std::size_t>(step) * length;
    for (std::int32_t tap = 0; tap < tapCount_; ++tap) row[tap] = table[std::abs((halfTaps_ - tap) * steps - step)];
  }
  return true;
}

/// Moves the position over as many frames as are wanted, or as can be made of what is there.
void Resampler::Place(Places& places, std::int32_t available, std::int32_t room) noexcept {
  std::int64_t framesRead = framesRead_, written = framesWritten_;
  double wanted = wantedPosition_;
  std::int32_t made = 0;
  while (made < room) {
    const auto whole = static_cast<std::int64_t>(wanted);
    if (whole - framesRead_ > available) break;
    framesRead = whole;
    places.newest[made] = static_cast<std::int32_t>(whole - framesRead_);
    places.lead[made] = wanted - static_cast<double>(whole);
    ++made;
    // From the count each time, so that no error builds up.
    ++written;
    wanted = static_cast<double>(written) * ratio_;
  }
  // What the next frame still lacks is taken as far as it goes, but not while there is no room for that frame.
  if (made < room) framesRead = framesRead_ + available;
  places.taken = static_cast<std::int32_t>(framesRead - framesRead_);
  places.made = made;
  framesRead_ = framesRead;
  framesWritten_ = written;
  wantedPosition_ = wanted;
}

const double* Resampler::Newest(const Places& places, std::int32_t i) const noexcept {
  return history_.data() + static_cast<std::size_t>(tapCount_ - 1 + places.newest[i]) * channels_;
}

template <int kChannels>
void Resampler::MakeLinear(const Places& places) noexcept {
  const std::size_t channels = kChannels != 0 ? static_cast<std::size_t>(kChannels) : channels_;
  double* out = block_.data();
  for (std::int32_t i = 0; i < places.made; ++i, out += channels) {
    const double* const newest = Newest(places, i);
    const double* const before = newest - channels;
    const double d = 1.0 - places.lead[i];
    for (std::size_t c = 0; c < channels; ++c) out[c] = (1.0 - d) * newest[c] + d * before[c];
  }
}

template <int kChannels, int kTaps>
void Resampler::MakeSinc(const Places& places) noexcept {
  const std::size_t channels = kChannels != 0 ? static_cast<std::size_t>(kChannels) : channels_;
  const std::int32_t steps = StepsOf(kTaps);
  double* out = block_.data();
  for (std::int32_t i = 0; i < places.made; ++i, out += channels) {
    // All taps stand the same fraction of a step off the table's entries.
    const double scaled = places.lead[i] * steps;
    const std::int32_t step = std::min(static_cast<std::int32_t>(scaled), steps - 1);
    const Pair fraction = Pair::Broadcast(scaled - step);
    const double* const row = rows() + static_cast<std::size_t>(step) * RowLength(kTaps);
    double weights[RowLength(kTaps)];
    for (std::size_t tap = 0; tap < RowLength(kTaps); tap += 2) {
      const Pair here = Pair::Load(row + tap);
      (here + (Pair::Load(row + RowLength(kTaps) + tap) - here) * fraction).Store(weights + tap);
    }
    const double* const newest = Newest(places, i);
    std::size_t c = 0;
    for (; c + 2 <= channels; c += 2) SumTaps<kTaps, Pair>(weights, newest + c, channels, out + c);
    if (c < channels) SumTaps<kTaps, Single>(weights, newest + c, channels, out + c);
  }
}

void Resampler::MakeFrames(const Places& places) noexcept {
  const auto byTaps = [&]<int kChannels>() {
    switch (tapCount_) {
      case 2:
        return MakeLinear<kChannels>(places);
      case 15:
        return MakeSinc<kChannels, 15>(places);
      default:
        return MakeSinc<kChannels, 9>(places);
    }
  };
  switch (channels_) {
    case 1:
      return byTaps.operator()<1>();
    case 2:
      return byTaps.operator()<2>();
    default:
      return byTaps.operator()<0>();
  }
}

void Resampler::ResamplePitch(const void* source, std::uint32_t& sourceFrames, void* destination,
                              std::uint32_t& destinationFrames) noexcept {
  const std::uint32_t offered = sourceFrames, room = destinationFrames;
  const std::size_t channels = channels_, taps = static_cast<std::size_t>(tapCount_);
  std::uint32_t taken = 0, made = 0;
  if (room != 0 && primeRing_) {
    primeRing_ = false;
    framesRead_ -= halfTaps_ + 1;
  }
  Places places;
  bool starved = false;
  while (made < room && !starved) {
    const auto block = static_cast<std::int32_t>(std::min<std::uint32_t>(room - made, kBlock));
    // No more is converted than this block can use: small destinations would convert the same frames over and over.
    const double useful = static_cast<double>(framesOwed()) + block * ratio_ + 1.0;
    std::uint32_t available = std::min<std::uint32_t>(offered - taken, kReadAhead);
    if (useful < available) available = static_cast<std::uint32_t>(useful);
    read_(static_cast<const unsigned char*>(source) + taken * channels * sourceSampleBytes_,
          history_.data() + taps * channels, available * channels);
    Place(places, static_cast<std::int32_t>(available), block);
    MakeFrames(places);
    write_(block_.data(), static_cast<unsigned char*>(destination) + made * channels * destinationSampleBytes_,
           static_cast<std::size_t>(places.made) * channels);
    const auto moved = static_cast<std::size_t>(places.taken) * channels;
    if (moved != 0) std::memmove(history_.data(), history_.data() + moved, taps * channels * sizeof(double));
    taken += static_cast<std::uint32_t>(places.taken);
    made += static_cast<std::uint32_t>(places.made);
    starved = framesOwed() > 0 && taken == offered;
  }
  if (room != 0) heldBack_ = !starved;
  sourceFrames = taken;
  destinationFrames = made;
}

}  // namespace korva
