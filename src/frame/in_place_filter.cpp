#include "frame/in_place_filter.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "audio/wrapping.h"
#include "frame/input_type.h"
#include "frame/tail_only_sample.h"
#include "platform/denormals.h"
#include "platform/services.h"

namespace korva {
namespace {

// Half a day of sound: more than any tail that ends by itself.
constexpr std::int64_t kMostTailFrames = std::numeric_limits<std::int32_t>::max();

bool IsTailOnly(IMediaSample& sample) {
  const ComPtr<ITailOnlySample> mark = Query<ITailOnlySample>(&sample);
  return mark && mark->IsTailOnly() != 0;
}

}  // namespace

HRESULT CQvInPlaceFilter::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(EffectFilter, AnswerInterface<IQvAudioTransformFloat>(this, iid, out));
}

HRESULT CQvInPlaceFilter::CheckInputType(const AM_MEDIA_TYPE& type) {
  return CheckAudioType(type);
}

HRESULT CQvInPlaceFilter::SetMediaType(PIN_DIRECTION direction, const AM_MEDIA_TYPE& type) {
  // A stopped graph may connect while a host streams on the direct road; the engine's buffers must keep their shape.
  if (started_) return VFW_E_NOT_STOPPED;
  UseFormat(type);
  // The record is that of the stream that comes in; an output alone has none yet.
  const bool comes = direction == PINDIR_INPUT || (inputPin() != nullptr && inputPin()->IsConnected());
  parameters().state().SetFormat(0, comes ? &formatRecord_ : nullptr);
  parameters().state().NotifyWindows(direction == PINDIR_INPUT ? kNoticeValueOrInput : kNoticeOutput);
  return S_OK;
}

void CQvInPlaceFilter::UseFormat(const AM_MEDIA_TYPE& type) {
  formatRecord_ = PlainFormatOf(type);
  FormatChanged(formatRecord_);
}

void CQvInPlaceFilter::UseFormatOfInput(bool connected) {
  CMediaType type;
  connected = connected && inputPin() != nullptr && SUCCEEDED(inputPin()->ConnectionMediaType(&type.get()));
  if (connected) UseFormat(type.get());
  parameters().state().SetFormat(0, connected ? &formatRecord_ : nullptr);
}

HRESULT CQvInPlaceFilter::BreakConnect(PIN_DIRECTION direction) {
  // The direct road keeps the format that it was opened with. Else the output may have tried another type in vain.
  if (!direct_) UseFormatOfInput(direction != PINDIR_INPUT);
  if (direction == PINDIR_INPUT) parameters().state().NotifyWindows(kNoticeValueOrInput);
  return S_OK;
}

HRESULT CQvInPlaceFilter::StartStreaming() {
  return direct_ ? VFW_E_WRONG_STATE : StartRun();
}

HRESULT CQvInPlaceFilter::StartRun() {
  if (CQvPlugInParams* const values = automation(); values != nullptr) {
    values->SetStreaming(true);
    values->StartTime(formatRecord_.samplesPerSecond);
  }
  sampleSeen_ = false;
  flushingTail_ = false;
  afterSkip_ = false;
  pending_ = Pending();
  rewindAsked_ = false;
  // Before the engine is touched: from here on `FloatReset` leaves it alone.
  started_ = true;
  const HRESULT result = StartEngine(formatRecord_);
  platform::SeedRandom();
  started_ = SUCCEEDED(result);
  if (CQvPlugInParams* const values = automation(); values != nullptr && !started_) values->SetStreaming(false);
  return result;
}

HRESULT CQvInPlaceFilter::StopStreaming() {
  if (CQvPlugInParams* const values = automation(); values != nullptr) {
    values->SetStreaming(false);
    values->LeaveSegments();
  }
  started_ = false;
  StopEngine();
  return S_OK;
}

HRESULT CQvInPlaceFilter::Receive(IMediaSample* sample) {
  if (sample == nullptr) return E_POINTER;
  // A sample with no times leaves the last ones in force.
  sample->GetTime(&sampleStart_, &sampleStop_);
  if (CQvPlugInParams* const values = automation(); values != nullptr) values->SetHostTime(sampleStart_);
  const bool tailOnly = IsTailOnly(*sample);
  ComPtr<IMediaSample> writable(sample);
  if (!(tailOnly && TailIsOver())) {
    if (const HRESULT result = Writable(sample, writable); FAILED(result)) return result;
  } else if (inputPin()->IsReadOnly()) {
    // What is only skipped goes on as it came, in whosever memory and with its mark. But the next effect may have a
    // tail to write, and was told that it may.
    writable = TailOnlySample::Wrap(*sample);
    if (!writable) return E_OUTOFMEMORY;
  }
  const HRESULT result = Transform(*writable.Get(), tailOnly);
  if (result == S_FALSE) return S_OK;
  return result == S_OK ? outputPin()->Deliver(writable.Get()) : result;
}

HRESULT CQvInPlaceFilter::Transform(IMediaSample& sample) {
  return Transform(sample, IsTailOnly(sample));
}

HRESULT CQvInPlaceFilter::Transform(IMediaSample& sample, bool tailOnly) {
  const LONG length = flushingTail_ ? sample.GetSize() : sample.GetActualDataLength();
  const bool skip = tailOnly && TailIsOver();
  BYTE* data = nullptr;
  if (!skip && (FAILED(sample.GetPointer(&data)) || (data == nullptr && length > 0))) return E_POINTER;
  sampleSeen_ = true;

  const auto size = static_cast<std::uint32_t>(std::max<LONG>(length, 0));
  const std::uint32_t blockAlign = std::max<std::uint32_t>(formatRecord_.blockAlign, 1);
  ProcessMode mode = sample.IsDiscontinuity() == S_OK ? ModeRestart : ModeContinue;
  if (afterSkip_ && !tailOnly) mode = ModeRestart;
  if (flushingTail_) {
    mode = ModeFlush;
    if (size < blockAlign) return E_FAIL;
    if (!tailOnly && data != nullptr) {
      const auto format = SampleFormatOf(formatRecord_);
      std::memset(data, format ? SilenceByte(*format) : 0, size);
    }
  }
  if (mode == ModeRestart) pending_.restart = true;

  Buffer buffer{data, size / blockAlign, mode, false, tailOnly, skip};
  HRESULT result = RunChunks(buffer);
  if (tailOnly) {
    // The song goes on to the sample's end, wherever in it the tail ended.
    CountSkippedFrames(buffer);
    // At the end of the stream the answer counts all the same: a delivery buffer that a host left marked would be asked
    // for again without end.
    if (!flushingTail_) {
      result = S_OK;
    } else if (skip) {
      result = S_FALSE;
    }
    // The host's own length is kept: the sample goes on as it came. Only cut buffers come back in whole frames.
    if (TakesWholeBuffers()) return result;
    buffer.done = buffer.frames;
  }
  sample.SetActualDataLength(static_cast<LONG>(blockAlign * buffer.done));
  return result;
}

void CQvInPlaceFilter::CountSkippedFrames(const Buffer& buffer) {
  CMFXTempo* const song = tempo();
  if (song != nullptr && song->HasTempo()) song->SkipFrames(std::int64_t{buffer.frames} - buffer.counted);
}

HRESULT CQvInPlaceFilter::RunChunks(Buffer& buffer) {
  if (TakesWholeBuffers()) {
    afterSkip_ = afterSkip_ || buffer.skip;
    return buffer.skip ? S_OK : RunOneChunk(buffer, buffer.frames, nullptr);
  }
  HRESULT result = S_OK;
  while (!buffer.ended && buffer.done < buffer.frames) {
    const std::uint32_t left = buffer.frames - buffer.done;
    std::uint32_t tempoChunk = left;
    TempoInfo info;
    const TempoInfo* given = nullptr;
    if (CMFXTempo* const song = tempo(); song != nullptr && song->HasTempo()) {
      tempoChunk = std::clamp<std::uint32_t>(song->AdvanceTempo(left, 5, info), 1, left);
      buffer.counted += tempoChunk;
      if ((info.flags & (kTempoChanged | kMeterChanged)) != 0) pending_.tempoChanged = true;
      given = &info;
    }
    for (std::uint32_t chunkDone = 0; !buffer.ended && chunkDone < tempoChunk;) {
      std::uint32_t chunk = tempoChunk - chunkDone;
      if (CQvPlugInParams* const values = automation(); values != nullptr) {
        chunk = std::min(chunk, values->NextChunk(chunk, &pending_.changeBits, 1.0));
      }
      if (buffer.skip) {
        buffer.ended = true;
        if (buffer.direct) return S_FALSE;
        afterSkip_ = true;
        return S_OK;
      }
      const std::uint32_t before = buffer.done;
      result = RunOneChunk(buffer, chunk, given);
      chunkDone += buffer.done - before;
    }
  }
  return result;
}

HRESULT CQvInPlaceFilter::RunOneChunk(Buffer& buffer, std::uint32_t frames, const TempoInfo* tempo) {
  if (PassesChunk()) {
    // An effect that lets audio pass has no tail. A graph's sample goes on all the same.
    if (buffer.direct && buffer.tailOnly) {
      buffer.ended = true;
      return S_FALSE;
    }
    buffer.done += frames;
    buffer.data += std::size_t{frames} * formatRecord_.blockAlign;
    return S_OK;
  }
  const ProcessMode mode = buffer.mode != ModeFlush && pending_.restart ? ModeRestart : buffer.mode;
  if (rewindAsked_.exchange(false)) {
    if (const HRESULT rewound = ResetEngine(true, tempo); FAILED(rewound)) {
      buffer.ended = true;
      return rewound;
    }
  }
  ChunkEvents events{mode,       !pending_.restart,     buffer.direct,       buffer.tailOnly,
                     afterSkip_, pending_.tempoChanged, pending_.changeBits, tempo};
  HRESULT result = PickUp(events);
  if (FAILED(result)) {
    buffer.ended = true;
    return result;
  }
  afterSkip_ = false;
  pending_ = Pending();
  std::uint32_t produced = frames;
  result = RunFlushing(events.mode, buffer.data, produced, buffer.tailOnly);
  if (FAILED(result)) produced = 0;
  buffer.done += produced;
  buffer.data += std::size_t{produced} * formatRecord_.blockAlign;
  if (buffer.mode == ModeRestart) buffer.mode = ModeContinue;
  buffer.ended = result != S_OK || produced == 0;
  return result;
}

HRESULT CQvInPlaceFilter::RunFlushing(ProcessMode mode, void* data, std::uint32_t& frames, bool tailOnly) {
  const platform::FlushDenormals flush;
  return RunKernel(mode, data, frames, tailOnly);
}

HRESULT CQvInPlaceFilter::EndOfStream() {
  CTransformOutputPin* const output = outputPin();
  if (output == nullptr) return S_OK;
  if (!HasTail()) return output->DeliverEndOfStream();
  if (!sampleSeen_) return S_OK;
  HRESULT result = S_OK;
  // After a skipped sample the tail has already rung out; an effect that lets audio pass has none.
  bool last = afterSkip_ || PassesChunk();
  std::int64_t bytesLeft = kMostTailFrames * formatRecord_.blockAlign;
  flushingTail_ = true;
  while (SUCCEEDED(result) && !last) {
    ComPtr<IMediaSample> sample;
    // Left at once, in the middle of the tail: the stream counts as ending until it is started anew.
    if (const HRESULT got = output->GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0); FAILED(got)) return got;
    sample->SetActualDataLength(0);
    result = Transform(*sample.Get());
    if (FAILED(result)) break;
    // A pass that yields no frames would yield none for ever.
    last = result == S_FALSE || sample->GetActualDataLength() == 0 || PassesChunk();
    // Automation that never comes to rest would arm the tail again for ever.
    bytesLeft -= sample->GetActualDataLength();
    last = last || bytesLeft <= 0;
    result = output->Deliver(sample.Get());
    if (result != S_OK) break;
  }
  flushingTail_ = false;
  sampleSeen_ = false;
  const HRESULT delivered = output->DeliverEndOfStream();
  return FAILED(result) ? result : delivered;
}

HRESULT CQvInPlaceFilter::FloatStart(WORD channels, DWORD samplesPerSecond) {
  if (channels < 1 || channels > kMaxChannels) return E_INVALIDARG;
  if (started_ && !direct_) return VFW_E_NOT_STOPPED;
  direct_ = true;
  formatRecord_ = MakeFormat(SampleFormat::kFloat32, channels, samplesPerSecond);
  parameters().state().SetFormat(0, &formatRecord_);
  const HRESULT result = StartRun();
  // A host that cannot start does not stop either, and its graph must not find this road open.
  if (FAILED(result)) FloatStop();
  return result;
}

HRESULT CQvInPlaceFilter::FloatProcess(float* buffer, DWORD frames, LONG tailOnly) {
  // A stream of the graph may be of another format than the caller's floats.
  if (!started_ || !direct_) return VFW_E_WRONG_STATE;
  if (buffer == nullptr && frames != 0) return E_POINTER;
  sampleSeen_ = true;
  CQvPlugInParams* const values = automation();
  if (values != nullptr) {
    sampleStart_ = values->HostSpan(frames, sampleStop_);
  }
  Buffer run{reinterpret_cast<std::uint8_t*>(buffer), frames, ModeContinue, true, tailOnly != 0, false};
  run.skip = run.tailOnly && !HasTail();
  const HRESULT result = RunChunks(run);
  if (result == S_FALSE) {
    if (values != nullptr) values->SetHostTime(WrappingSum(sampleStop_, values->TimeOf(1)));
    CountSkippedFrames(run);
  }
  return result;
}

HRESULT CQvInPlaceFilter::FloatTail(float* buffer, DWORD* frames) {
  if (frames == nullptr) return E_POINTER;
  if (!HasTail() || !started_ || !direct_ || !sampleSeen_) {
    *frames = 0;
    return S_FALSE;
  }
  if (buffer == nullptr) return E_POINTER;
  std::fill_n(buffer, std::size_t{*frames} * formatRecord_.channels, 0.0F);
  std::uint32_t produced = *frames;
  const HRESULT result = RunFlushing(ModeFlush, buffer, produced, false);
  *frames = FAILED(result) ? 0 : produced;
  return result;
}

HRESULT CQvInPlaceFilter::FloatStop() {
  if (started_ && !direct_) return VFW_E_WRONG_STATE;
  const HRESULT result = StopStreaming();
  if (direct_.exchange(false)) UseFormatOfInput(true);
  return result;
}

HRESULT CQvInPlaceFilter::FloatQuery() {
  return ChangesWaiting();
}

HRESULT CQvInPlaceFilter::FloatReset(LONG rewind) {
  if (rewind != 0) {
    if (CQvPlugInParams* const values = automation(); values != nullptr) values->SetHostTime(0);
  }
  if (started_ && direct_) return ResetEngine(rewind != 0, nullptr);
  TransformState& state = parameters().state();
  bool changed = false;
  if (started_) {
    // The graph's own thread may be in a kernel; its next chunk does the work, as with every other change.
    if (rewind != 0) rewindAsked_ = true;
    changed = state.paramsChanged.load(std::memory_order_relaxed) != 0;
  } else {
    changed = state.TakeChanged();
    // A stream that started meanwhile may have missed what was just taken.
    if (changed && started_) state.paramsChanged.store(1, std::memory_order_relaxed);
  }
  return changed || rewind != 0 ? S_OK : S_FALSE;
}

}  // namespace korva
