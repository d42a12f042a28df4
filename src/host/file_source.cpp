#include "host/file_source.h"

#include <algorithm>
#include <cstring>

#include "host/interrupt.h"

namespace korva {
namespace {

// The file is read in parts of at least this many frames: a stream may be cut into single ones.
constexpr std::uint32_t kLeastRead = 8192;

constexpr CLSID kSourceClass{0x5e6c8d4c, 0x90e1, 0x4b8e, {0xa3, 0x0b, 0x6d, 0x1f, 0x62, 0x0c, 0x4e, 0x11}};

}  // namespace

FileSource::FileSource(SampleInput& input, const FormatRecord& format, StreamCut cut)
    : CBaseFilter(nullptr, kSourceClass),
      input_(input),
      format_(format),
      sampleFormat_(SampleFormatOf(format).value_or(SampleFormat::kFloat32)),
      cut_(cut),
      pin_(*this) {}

HRESULT FileSource::Pin::GetMediaType(int position, CMediaType& type) {
  return position == 0 ? type.SetWave(source_.format_) : VFW_S_NO_MORE_ITEMS;
}

HRESULT FileSource::Pin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  CMediaType own;
  if (const HRESULT result = own.SetWave(source_.format_); FAILED(result)) return result;
  return SameMediaType(own.get(), type) ? S_OK : E_INVALIDARG;
}

HRESULT FileSource::Pin::DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) {
  const auto bytes = static_cast<LONG>(source_.cut_.bufferFrames * source_.format_.blockAlign);
  ALLOCATOR_PROPERTIES request = properties;
  request.cBuffers = std::max(properties.cBuffers, LONG{1});
  request.cbBuffer = std::max(properties.cbBuffer, bytes);
  request.cbAlign = std::max(properties.cbAlign, LONG{1});
  ALLOCATOR_PROPERTIES actual{};
  if (const HRESULT result = allocator.SetProperties(&request, &actual); FAILED(result)) return result;
  return actual.cbBuffer >= bytes ? S_OK : E_FAIL;
}

REFERENCE_TIME FileSource::TimeOf(std::int64_t frame) const noexcept {
  constexpr std::int64_t kTicksPerSecond = 10'000'000;
  const std::int64_t rate = format_.samplesPerSecond;
  return frame / rate * kTicksPerSecond + (frame % rate * kTicksPerSecond + rate / 2) / rate;
}

MaybeExit FileSource::Refill() {
  const std::uint32_t wanted = std::max(cut_.blockFrames, kLeastRead / cut_.blockFrames * cut_.blockFrames);
  ahead_.resize(std::size_t{wanted} * format_.blockAlign);
  const Outcome<std::size_t> got = input_.Read(sampleFormat_, ahead_.data(), wanted);
  if (!got) return got.earlyExit();
  aheadFrames_ = *got;
  aheadSent_ = 0;
  return std::nullopt;
}

MaybeExit FileSource::Push(const std::function<void(std::int64_t)>& progress) {
  for (;;) {
    if (Interrupted()) return Failed("interrupted");
    if (aheadSent_ == aheadFrames_) {
      if (const MaybeExit check = Refill()) return check;
      if (aheadFrames_ == 0) return std::nullopt;
      progress(framesSent_);
    }
    const std::size_t frames = std::min<std::size_t>(cut_.blockFrames, aheadFrames_ - aheadSent_);
    const std::size_t bytes = frames * format_.blockAlign;
    ComPtr<IMediaSample> sample;
    HRESULT result = pin_.GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0);
    BYTE* buffer = nullptr;
    if (SUCCEEDED(result)) result = sample->GetPointer(&buffer);
    if (SUCCEEDED(result)) {
      std::memcpy(buffer, ahead_.data() + aheadSent_ * format_.blockAlign, bytes);
      sample->SetActualDataLength(static_cast<LONG>(bytes));
      REFERENCE_TIME start = TimeOf(framesSent_);
      REFERENCE_TIME stop = TimeOf(framesSent_ + static_cast<std::int64_t>(frames));
      sample->SetTime(&start, &stop);
      sample->SetDiscontinuity(framesSent_ == 0);
      sample->SetSyncPoint(TRUE);
      result = pin_.Deliver(sample.Get());
    }
    if (FAILED(result)) {
      refusal_ = result;
      return Failed("the stream broke off");
    }
    aheadSent_ += frames;
    framesSent_ += static_cast<std::int64_t>(frames);
    if (result != S_OK) return std::nullopt;
  }
}

}  // namespace korva
