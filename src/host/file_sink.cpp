#include "host/file_sink.h"

#include <algorithm>
#include <cstring>

#include "host/interrupt.h"

namespace korva {
namespace {

constexpr std::size_t kFramesAtOnce = 8192;

constexpr CLSID kSinkClass{0x8d0b7f0e, 0x3f5a, 0x4c57, {0x9c, 0x1d, 0x24, 0x5b, 0x5e, 0x0a, 0x7a, 0x92}};

}  // namespace

FileSink::FileSink(SampleOutput& output, const FormatRecord& format)
    : CBaseFilter(nullptr, kSinkClass),
      output_(output),
      format_(format),
      sampleFormat_(SampleFormatOf(format).value_or(SampleFormat::kFloat32)),
      pin_(*this),
      waiting_(kFramesAtOnce * format.blockAlign) {}

HRESULT FileSink::Pin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  CMediaType own;
  if (const HRESULT result = own.SetWave(sink_.format_); FAILED(result)) return result;
  return SameMediaType(own.get(), type) ? S_OK : E_INVALIDARG;
}

HRESULT FileSink::Pin::Receive(IMediaSample* sample) {
  if (sample == nullptr) return E_POINTER;
  if (const HRESULT result = CheckStreaming(); result != S_OK) return result;
  BYTE* data = nullptr;
  if (const HRESULT result = sample->GetPointer(&data); FAILED(result)) return result;
  const LONG length = std::max(sample->GetActualDataLength(), LONG{0});
  return sink_.Take(data, static_cast<std::size_t>(length));
}

HRESULT FileSink::Take(const std::uint8_t* data, std::size_t bytes) {
  if (failure_) return E_FAIL;
  // Looked at here too: a tail may ring on long after the source is done.
  if (Interrupted()) {
    failure_ = Failed("interrupted");
    return E_ABORT;
  }
  bytes -= bytes % format_.blockAlign;
  const std::size_t frames = bytes / format_.blockAlign;
  levels_.Add(sampleFormat_, data, frames * format_.channels);
  frames_ += static_cast<std::int64_t>(frames);
  while (bytes != 0) {
    const std::size_t part = std::min(bytes, waiting_.size() - waitingBytes_);
    std::memcpy(waiting_.data() + waitingBytes_, data, part);
    waitingBytes_ += part;
    data += part;
    bytes -= part;
    if (waitingBytes_ < waiting_.size()) break;
    failure_ = Finish();
    if (failure_) return E_FAIL;
  }
  return S_OK;
}

MaybeExit FileSink::Finish() {
  const std::size_t frames = waitingBytes_ / format_.blockAlign;
  waitingBytes_ = 0;
  return frames != 0 ? output_.Write(waiting_.data(), frames) : std::nullopt;
}

}  // namespace korva
