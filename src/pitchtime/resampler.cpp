#include "pitchtime/resampler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "audio/process_mode.h"

namespace korva {
namespace {

// Not quite pi; the table's values rest on it.
constexpr double kPi = 3.14159265356;

/// The weight of one tap in each of `frames` frames (up to `kMost`). `distances` are those of the newest tap. All but
/// the reading of the table goes side by side.
template <std::int32_t kMost>
void FindWeights(const double* distances, std::int32_t frames, int tap, double tapScale, const double* table,
                 double (&weights)[kMost]) noexcept {
  std::int32_t index[kMost];
  double fraction[kMost];
  for (std::int32_t i = 0; i < frames; ++i) {
    const double x = std::fabs(distances[i] - tap) * tapScale;
    index[i] = static_cast<std::int32_t>(x);
    fraction[i] = x - index[i];
  }
  for (std::int32_t i = 0; i < frames; ++i) {
    const double* const entry = table + index[i];
    weights[i] = (entry[1] - entry[0]) * fraction[i] + entry[0];
  }
}

}  // namespace

std::int32_t Resampler::Configure(std::int32_t accuracy, std::uint32_t channels) noexcept {
  halfTaps_ = accuracy == 1 ? 1 : accuracy == 3 ? 7 : 4;
  tapCount_ = accuracy == 1 ? 2 : 2 * halfTaps_ + 1;
  channels_ = channels;
  tapScale_ = static_cast<double>(kSpan) / (halfTaps_ + 1);
  primeRing_ = false;
  const auto frames = static_cast<std::size_t>(tapCount_ + kReadAhead);
  const bool granted = history_.Allocate(frames * channels) &&
                       block_.Allocate(static_cast<std::size_t>(kBlock) * channels) && BuildSincTable();
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
    for (auto& table : sincTables_) table.Release();
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

bool Resampler::BuildSincTable() noexcept {
  // Straight lines need no table.
  if (tapCount_ == 2) return true;
  ZeroedBuffer<double>& own = sincTables_[tapCount_ == 15 ? 1 : 0];
  if (keepTables_ && !own.empty()) return true;
  if (!keepTables_) sincTables_[tapCount_ == 15 ? 0 : 1].Release();
  if (!own.Allocate(kSpan + 3)) return false;
  double* const table = own.data();
  const double span = halfTaps_ + 1;
  table[0] = 1.0;
  for (std::int32_t i = 1; i < kSpan; ++i) {
    const double x = span * i / kSpan * kPi;
    const double t = x / span + kPi;
    const double window = 0.35875 - 0.48829 * std::cos(t) + 0.14128 * std::cos(2 * t) - 0.01168 * std::cos(3 * t);
    table[i] = window * std::sin(x) / x;
  }
  table[kSpan] = table[kSpan - 1];
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
  double weights[kTaps][kBlock];
  double distances[kBlock];
  for (std::int32_t i = 0; i < places.made; ++i) distances[i] = halfTaps_ - places.lead[i];
  for (int tap = 0; tap < kTaps; ++tap) {
    FindWeights(distances, places.made, tap, tapScale_, sincTable(), weights[tap]);
  }
  double* out = block_.data();
  for (std::int32_t i = 0; i < places.made; ++i, out += channels) {
    const double* frame = Newest(places, i);
    std::array<double, kChannels != 0 ? static_cast<std::size_t>(kChannels) : std::size_t{kMaxChannels}> sums;
    std::fill_n(sums.data(), channels, 0.0);
    for (int tap = 0; tap < kTaps; ++tap, frame -= channels) {
      for (std::size_t c = 0; c < channels; ++c) sums[c] += weights[tap][i] * frame[c];
    }
    std::copy_n(sums.data(), channels, out);
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
