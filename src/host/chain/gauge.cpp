#include "host/chain/gauge.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace korva {
namespace {

constexpr CLSID kGaugeClass{0x3c1f7d52, 0x8a64, 0x4c0b, {0xb1, 0x57, 0x9e, 0x2d, 0x40, 0x6a, 0xf3, 0x18}};

template <class Sample>
std::int64_t CountLoud(const Sample* samples, std::size_t count) noexcept {
  using Limits = std::numeric_limits<Sample>;
  std::int64_t found = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if constexpr (std::is_integral_v<Sample>)
      found += samples[i] == Limits::max() || samples[i] == Limits::min() ? 1 : 0;
    else
      found += std::fabs(samples[i]) > 1 ? 1 : 0;
  }
  return found;
}

}  // namespace

Gauge::Gauge(const FormatRecord& format, bool countsLoud)
    : CTransInPlaceFilter(nullptr, kGaugeClass), format_(format), countsLoud_(countsLoud) {}

HRESULT Gauge::Receive(IMediaSample* sample) {
  if (sample == nullptr) return E_POINTER;
  BYTE* data = nullptr;
  if (const HRESULT result = sample->GetPointer(&data); FAILED(result)) return result;
  const auto frames = static_cast<std::int64_t>(std::max(sample->GetActualDataLength(), LONG{0}) / format_.blockAlign);
  if (countsLoud_) {
    loud_ += VisitFormat(SampleFormatOf(format_).value_or(SampleFormat::kFloat32), [&](auto policy) {
      const auto* const samples = reinterpret_cast<const typename decltype(policy)::Sample*>(data);
      return CountLoud(samples, static_cast<std::size_t>(frames) * format_.channels);
    });
  }
  const std::int64_t before = frames_;
  frames_ += frames;
  if (held_ < 0 || frames_ <= held_) return outputPin()->Deliver(sample);
  // The effect goes on, so that it is known how much too long it is; nothing of that goes any further.
  if (before >= held_) return S_OK;
  sample->SetActualDataLength(static_cast<LONG>((held_ - before) * format_.blockAlign));
  return outputPin()->Deliver(sample);
}

HRESULT Gauge::EndOfStream() {
  std::int64_t missing = std::max<std::int64_t>(held_ - frames_, 0);
  while (missing > 0) {
    ComPtr<IMediaSample> sample;
    if (const HRESULT got = outputPin()->GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0); FAILED(got)) return got;
    BYTE* data = nullptr;
    if (const HRESULT result = sample->GetPointer(&data); FAILED(result)) return result;
    const std::int64_t frames = std::min<std::int64_t>(missing, sample->GetSize() / format_.blockAlign);
    if (frames == 0) return VFW_E_BUFFER_OVERFLOW;
    const auto bytes = static_cast<std::size_t>(frames) * format_.blockAlign;
    std::memset(data, SilenceByte(SampleFormatOf(format_).value_or(SampleFormat::kFloat32)), bytes);
    sample->SetActualDataLength(static_cast<LONG>(bytes));
    if (const HRESULT result = outputPin()->Deliver(sample.Get()); result != S_OK) return result;
    missing -= frames;
  }
  return outputPin()->DeliverEndOfStream();
}

}  // namespace korva
