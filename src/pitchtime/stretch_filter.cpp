#include "pitchtime/stretch_filter.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "audio/narrow.h"
#include "audio/wrapping.h"
#include "frame/input_type.h"
#include "platform/denormals.h"

namespace korva {
namespace {

constexpr LONG kLeastBuffer = 512;
constexpr LONG kGrowth = 4;

/// The fields that two types must share, as their blocks have them.
FormatRecord BlockHead(const AM_MEDIA_TYPE& type) {
  FormatRecord head;
  std::memcpy(&head, type.pbFormat, std::min<std::size_t>(type.cbFormat, sizeof head));
  return head;
}

bool IsAudioBlock(const AM_MEDIA_TYPE& type) {
  return type.majortype == MEDIATYPE_Audio && type.bTemporalCompression == 0 && type.cbFormat >= 16 &&
         type.pbFormat != nullptr;
}

bool HasChannels(const FormatRecord& format) {
  return format.channels >= 1 && format.channels <= kMaxChannels;
}

/// Puts the derived fields of a copied type right; `S_FALSE` for an impossible number of channels. An extensible block
/// keeps its tag.
HRESULT NormaliseBlock(CMediaType& type) {
  AM_MEDIA_TYPE& own = type.get();
  FormatRecord head = BlockHead(own);
  const std::uint16_t extraSize = own.cbFormat > 16 ? std::uint16_t{0} : head.extraSize;
  NormaliseFormat(head);
  head.extraSize = extraSize;
  std::memcpy(own.pbFormat, &head, std::min<std::size_t>(own.cbFormat, sizeof head));
  return HasChannels(head) ? S_OK : S_FALSE;
}

/// What a call of the engine answers; numbers too small to be normal count as 0 in it.
template <class Call>
HRESULT Flushed(Call&& call) noexcept {
  const platform::FlushDenormals flush;
  return call();
}

}  // namespace

HRESULT CQvStretchInputPin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  if (const HRESULT result = transform().CheckInputType(type); result != S_OK) return result;
  CTransformOutputPin* const output = transform().outputPin();
  const ComPtr<IPin> beyond = output != nullptr ? output->GetConnected() : ComPtr<IPin>();
  CMediaType going;
  if (!beyond || FAILED(output->ConnectionMediaType(&going.get()))) return S_OK;
  if (transform().CheckTransform(type, going.get()) == S_OK) return S_OK;
  CMediaType normalised;
  if (const HRESULT result = normalised.Set(type); FAILED(result)) return result;
  if (const HRESULT result = NormaliseBlock(normalised); result != S_OK) return result;
  return beyond->QueryAccept(&normalised.get());
}

CTransformInputPin* CQvStretchFilter::CreateInputPin() {
  return new (std::nothrow) CQvStretchInputPin(*this);
}

HRESULT CQvStretchFilter::CheckInputType(const AM_MEDIA_TYPE& type) {
  return CheckAudioType(type);
}

HRESULT CQvStretchFilter::CheckTransform(const AM_MEDIA_TYPE& in, const AM_MEDIA_TYPE& out) {
  if (!IsAudioBlock(in) || !IsAudioBlock(out)) return E_INVALIDARG;
  const FormatRecord a = BlockHead(in), b = BlockHead(out);
  const bool same = a.formatTag == b.formatTag && a.bitsPerSample == b.bitsPerSample &&
                    a.samplesPerSecond == b.samplesPerSecond && a.channels == b.channels;
  return same && HasChannels(a) ? S_OK : E_INVALIDARG;
}

HRESULT CQvStretchFilter::GetMediaType(int position, CMediaType& type) {
  CTransformInputPin* const input = inputPin();
  if (input == nullptr || !input->IsConnected()) return E_UNEXPECTED;
  if (position < 0) return E_INVALIDARG;
  if (position > 0) return VFW_S_NO_MORE_ITEMS;
  CMediaType coming;
  if (const HRESULT result = input->ConnectionMediaType(&coming.get()); FAILED(result)) return result;
  type.Swap(coming);
  return NormaliseBlock(type);
}

HRESULT CQvStretchFilter::SetMediaType(PIN_DIRECTION direction, const AM_MEDIA_TYPE& type) {
  FormatRecord& record = formatRecords_[static_cast<std::size_t>(direction)];
  record = PlainFormatOf(type);
  parameters().state().SetFormat(direction, &record);
  parameters().state().NotifyWindows(static_cast<WORD>(direction));
  return S_OK;
}

HRESULT CQvStretchFilter::BreakConnect(PIN_DIRECTION direction) {
  parameters().state().SetFormat(direction, nullptr);
  parameters().state().NotifyWindows(static_cast<WORD>(direction));
  return S_OK;
}

HRESULT CQvStretchFilter::CompleteConnect(PIN_DIRECTION direction, IPin*) {
  CTransformOutputPin* const output = outputPin();
  if (direction == PINDIR_OUTPUT || output == nullptr || !output->IsConnected()) return S_OK;
  if (CheckTransform(inputPin()->connectionType().get(), output->connectionType().get()) == S_OK) return S_OK;
  return ReconnectPin(output);
}

HRESULT CQvStretchFilter::DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) {
  if (CTransformInputPin* const input = inputPin(); input != nullptr && input->IsConnected()) {
    ComPtr<IMemAllocator> upstream;
    ALLOCATOR_PROPERTIES theirs{};
    if (SUCCEEDED(input->GetAllocator(upstream.Put())) && SUCCEEDED(upstream->GetProperties(&theirs))) {
      properties = theirs;
    }
  }
  // Only so that much output fits in one sample: any capacity of a frame and more will do.
  constexpr LONG kMost = std::numeric_limits<std::int32_t>::max();
  properties.cbBuffer = properties.cbBuffer > kMost / kGrowth ? kMost : properties.cbBuffer * kGrowth;
  // Upstream may not have set its own up yet.
  properties.cBuffers = std::max<LONG>(properties.cBuffers, 1);
  properties.cbAlign = std::max<LONG>(properties.cbAlign, 1);
  ALLOCATOR_PROPERTIES actual{};
  const HRESULT result = allocator.SetProperties(&properties, &actual);
  if (FAILED(result)) return result;
  properties = actual;
  return actual.cbBuffer < kLeastBuffer ? E_FAIL : result;
}

HRESULT CQvStretchFilter::StartStreaming() {
  pendingDiscontinuity_ = false;
  pendingSyncPoint_ = false;
  streamTimes_ = StreamTimes();
  if (!SampleFormatOf(formatRecords_[PINDIR_INPUT])) return E_FAIL;
  return engine().Start(formatRecords_[PINDIR_INPUT]);
}

HRESULT CQvStretchFilter::StopStreaming() {
  engine().Stop();
  inputCopy_.Release();
  return S_OK;
}

HRESULT CQvStretchFilter::Capacity(IMediaSample& sample, BYTE*& data, std::uint32_t& frames) const {
  if (const HRESULT result = sample.GetPointer(&data); FAILED(result)) return result;
  // The engine writes frames of the input's format, whatever the output's record says while a change is under way.
  const std::uint32_t frameBytes = std::max<std::uint32_t>(
      {formatRecords_[PINDIR_INPUT].blockAlign, formatRecords_[PINDIR_OUTPUT].blockAlign, std::uint16_t{1}});
  frames = static_cast<std::uint32_t>(std::max<LONG>(sample.GetSize(), 0)) / frameBytes;
  return frames != 0 ? S_OK : E_FAIL;
}

HRESULT CQvStretchFilter::AnnounceFormat(IMediaSample& sample) {
  CMediaType type;
  if (const HRESULT result = GetMediaType(0, type); FAILED(result)) return result;
  return sample.SetMediaType(&type.get());
}

HRESULT CQvStretchFilter::WritableInput(BYTE*& data, std::uint32_t bytes) {
  if (!inputPin()->IsReadOnly()) return S_OK;
  if (inputCopy_.size() < bytes && !inputCopy_.Allocate(bytes)) return E_OUTOFMEMORY;
  if (bytes != 0) std::memcpy(inputCopy_.data(), data, bytes);
  data = inputCopy_.data();
  return S_OK;
}

HRESULT CQvStretchFilter::Receive(IMediaSample* sample) {
  if (sample == nullptr) return E_POINTER;
  ComPtr<IMediaSample> output;
  if (const HRESULT got = outputPin()->GetDeliveryBuffer(output.Put(), nullptr, nullptr, 0); FAILED(got)) return got;
  const bool restart = sample->IsDiscontinuity() == S_OK;
  if (sample->IsSyncPoint() == S_OK) pendingSyncPoint_ = true;
  if (restart) {
    pendingDiscontinuity_ = true;
    // Times are taken from the stream here and nowhere else; a sample without any leaves those that there are.
    sample->GetTime(&streamTimes_.start, &streamTimes_.end);
    LONGLONG start = 0, end = 0;
    if (SUCCEEDED(sample->GetMediaTime(&start, &end))) {
      streamTimes_.mediaStart = start;
      streamTimes_.mediaEnd = end;
    }
  }
  const auto bytes = static_cast<std::uint32_t>(std::max<LONG>(sample->GetActualDataLength(), 0));
  BYTE* data = nullptr;
  if (const HRESULT result = sample->GetPointer(&data); FAILED(result)) return result;
  const FormatRecord& in = formatRecords_[PINDIR_INPUT];
  if (in.channels != formatRecords_[PINDIR_OUTPUT].channels || !HasChannels(in)) {
    if (const HRESULT result = AnnounceFormat(*output.Get()); FAILED(result)) return result;
  }
  if (const HRESULT result = WritableInput(data, bytes); FAILED(result)) return result;
  const std::uint32_t frames = bytes / std::max<std::uint32_t>(in.blockAlign, 1);
  const ProcessMode mode = restart ? ModeRestart : ModeContinue;
  const auto prepare = [&] { return engine().PrepareInput(mode, data, frames); };
  if (const HRESULT result = Flushed(prepare); FAILED(result)) return result;
  return FeedEngine(output, data, frames, mode);
}

HRESULT CQvStretchFilter::FeedEngine(ComPtr<IMediaSample>& output, const std::uint8_t* data, std::uint32_t left,
                                     ProcessMode mode) {
  for (;;) {
    BYTE* target = nullptr;
    std::uint32_t written = 0;
    if (const HRESULT result = Capacity(*output.Get(), target, written); FAILED(result)) return result;
    std::uint32_t taken = left;
    const auto process = [&] { return engine().Process(mode, data, &taken, target, &written); };
    if (const HRESULT result = Flushed(process); FAILED(result)) return result;
    mode = ModeContinue;
    if (written != 0) {
      if (const HRESULT result = StampAndDeliver(*output.Get(), written); result != S_OK) return result;
    }
    if (taken >= left || (taken == 0 && written == 0)) return S_OK;
    data += std::size_t{taken} * formatRecords_[PINDIR_INPUT].blockAlign;
    left -= taken;
    if (written != 0) {
      // The sample went downstream; it is given back before another is asked for, or a single buffer would lock up.
      if (const HRESULT got = outputPin()->GetDeliveryBuffer(output.Put(), nullptr, nullptr, 0); FAILED(got)) {
        return got;
      }
    }
  }
}

HRESULT CQvStretchFilter::StampAndDeliver(IMediaSample& sample, std::uint32_t frames) {
  const FormatRecord& out = formatRecords_[PINDIR_OUTPUT];
  StreamTimes& times = streamTimes_;
  if (pendingDiscontinuity_) {
    sample.SetDiscontinuity(TRUE);
    pendingDiscontinuity_ = false;
  }
  const double seconds = out.samplesPerSecond != 0 ? static_cast<double>(frames) / out.samplesPerSecond : 0.0;
  const auto duration = out.samplesPerSecond != 0 ? Truncate<std::int64_t>(seconds * 1e7 + 0.5) : 0;
  times.end = WrappingSum(times.start, duration);
  times.mediaEnd = WrappingSum(times.mediaStart, frames);
  LONGLONG start = times.start, end = times.end, mediaStart = times.mediaStart, mediaEnd = times.mediaEnd;
  sample.SetTime(&start, &end);
  sample.SetMediaTime(&mediaStart, &mediaEnd);
  times.start = times.end;
  times.mediaStart = times.mediaEnd;
  if (pendingSyncPoint_) {
    sample.SetSyncPoint(TRUE);
    pendingSyncPoint_ = false;
  }
  return DeliverFrames(sample, frames);
}

HRESULT CQvStretchFilter::DeliverFrames(IMediaSample& sample, std::uint32_t frames) {
  sample.SetActualDataLength(static_cast<LONG>(frames * formatRecords_[PINDIR_OUTPUT].blockAlign));
  return outputPin()->Deliver(&sample);
}

HRESULT CQvStretchFilter::EndOfStream() {
  CTransformOutputPin* const output = outputPin();
  if (output == nullptr) return S_OK;
  // An engine comes to its end after at most two empty rounds; more would be none at all.
  constexpr int kMostEmptyRounds = 4;
  HRESULT failure = S_OK;
  for (int emptyRounds = 0; emptyRounds <= kMostEmptyRounds;) {
    ComPtr<IMediaSample> sample;
    if (const HRESULT got = output->GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0); FAILED(got)) return got;
    BYTE* data = nullptr;
    std::uint32_t written = 0;
    failure = Capacity(*sample.Get(), data, written);
    if (FAILED(failure)) break;
    const HRESULT result = Flushed([&] { return engine().Process(ModeFlush, nullptr, nullptr, data, &written); });
    failure = FAILED(result) ? result : S_OK;
    if (FAILED(failure)) break;
    const bool last = result == kFinished;
    if (!last || written != 0) failure = DeliverFrames(*sample.Get(), written);
    if (FAILED(failure) || last) break;
    emptyRounds = written != 0 ? 0 : emptyRounds + 1;
  }
  const HRESULT delivered = output->DeliverEndOfStream();
  return FAILED(failure) ? failure : delivered;
}

}  // namespace korva
