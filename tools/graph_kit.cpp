#include "graph_kit.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <random>

namespace korva {

HRESULT StreamPin::GetMediaType(int position, CMediaType& type) {
  return position == 0 ? type.SetWave(stream_.format) : VFW_S_NO_MORE_ITEMS;
}

HRESULT StreamPin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  CMediaType own;
  own.SetWave(stream_.format);
  return SameMediaType(own.get(), type) ? S_OK : S_FALSE;
}

void StreamPin::SetStream(Stream stream, SourceOptions options) {
  stream_ = std::move(stream);
  options_ = options;
}

HRESULT StreamPin::DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) {
  const std::uint32_t room = std::max(options_.blockFrames, options_.roomFrames);
  ALLOCATOR_PROPERTIES wanted{3, static_cast<LONG>(room * stream_.format.blockAlign), 1, 0};
  wanted.cbAlign = std::max(wanted.cbAlign, properties.cbAlign);
  return allocator.SetProperties(&wanted, &properties);
}

HRESULT StreamPin::Active() {
  const HRESULT result = CBaseOutputPin::Active();
  if (SUCCEEDED(result)) Start(0);
  return result;
}

HRESULT StreamPin::Inactive() {
  stop_ = true;
  const HRESULT result = CBaseOutputPin::Inactive();
  Join();
  return result;
}

void StreamPin::Seek(std::size_t frame) {
  DeliverBeginFlush();
  stop_ = true;
  Join();
  DeliverEndFlush();
  Start(frame);
}

void StreamPin::Start(std::size_t frame) {
  stop_ = false;
  thread_ = std::thread([this, frame] { Send(frame); });
}

void StreamPin::Join() {
  if (thread_.joinable()) thread_.join();
}

void StreamPin::Send(std::size_t start) {
  const std::size_t cut = options_.discontinuityAt, align = stream_.format.blockAlign;
  for (std::size_t frame = start; frame < stream_.frames() && !stop_;) {
    std::size_t end = std::min(frame + options_.blockFrames, stream_.frames());
    if (frame < cut && cut < end) end = cut;
    ComPtr<IMediaSample> sample;
    if (FAILED(GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0))) return;
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    std::memcpy(data, stream_.bytes.data() + frame * align, (end - frame) * align);
    sample->SetActualDataLength(static_cast<LONG>((end - frame) * align));
    const auto timeOf = [&](std::size_t at) {
      return static_cast<REFERENCE_TIME>(at * 10'000'000ULL / stream_.format.samplesPerSecond);
    };
    REFERENCE_TIME from = timeOf(frame), to = timeOf(end);
    sample->SetTime(&from, &to);
    sample->SetDiscontinuity(frame == start || frame == cut ? TRUE : FALSE);
    if (Deliver(sample.Get()) != S_OK) return;
    frame = end;
  }
  if (!stop_) DeliverEndOfStream();
}

HRESULT WaitingPin::CheckMediaType(const AM_MEDIA_TYPE& type) {
  return type.majortype == MEDIATYPE_Audio ? S_OK : S_FALSE;
}

HRESULT WaitingPin::Receive(IMediaSample* sample) {
  if (const HRESULT result = CheckStreaming(); result != S_OK) return result;
  BYTE* data = nullptr;
  if (SUCCEEDED(sample->GetPointer(&data))) received.insert(received.end(), data, data + sample->GetActualDataLength());
  if (samples_++ != blockAt) return S_OK;
  Change(blocked_, true);
  Wait(released_);
  return S_FALSE;
}

bool WaitingPin::Wait(const bool& state) {
  std::unique_lock guard(lock_);
  return changed_.wait_for(guard, std::chrono::seconds(20), [&state] { return state; });
}

void WaitingPin::Change(bool& state, bool to) {
  const std::lock_guard guard(lock_);
  state = to;
  changed_.notify_all();
}

HRESULT WaitingPin::EndOfStream() {
  if (const HRESULT result = CheckStreaming(); result != S_OK) return result;
  Change(ended_, true);
  const ComPtr<IMediaEventSink> graph = Query<IMediaEventSink>(filter().graph().Get());
  if (graph) graph->Notify(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(&filter())));
  return S_OK;
}

HRESULT WaitingPin::BeginFlush() {
  const HRESULT result = CBaseInputPin::BeginFlush();
  Change(released_, true);
  return result;
}

HRESULT WaitingPin::EndFlush() {
  received.clear();
  Change(ended_, false);
  return CBaseInputPin::EndFlush();
}

HRESULT WaitingPin::Active() {
  received.clear();
  samples_ = 0;
  for (bool* const state : {&ended_, &blocked_, &released_}) Change(*state, false);
  return CBaseInputPin::Active();
}

HRESULT WaitingPin::Inactive() {
  Change(released_, true);
  return CBaseInputPin::Inactive();
}

Graph::Graph() {
  ::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, InterfaceId<IGraphBuilder>(),
                     builder_.PutVoid());
  control_ = Query<IMediaControl>(builder_.Get());
}

Graph::~Graph() {
  if (control_) control_->Stop();
}

HRESULT Graph::Chain(StreamSource& source, const std::vector<IBaseFilter*>& effects, WaitingSink& sink, bool direct) {
  HRESULT result = Add(&source);
  for (IBaseFilter* effect : effects) {
    if (SUCCEEDED(result)) result = Add(effect);
  }
  if (SUCCEEDED(result)) result = Add(&sink);
  ComPtr<IPin> from(&source.pin);
  for (std::size_t i = 0; i <= effects.size() && SUCCEEDED(result); ++i) {
    const ComPtr<IPin> to = i < effects.size() ? PinOf(effects[i], L"In") : ComPtr<IPin>(&sink.pin);
    result = direct ? builder_->ConnectDirect(from.Get(), to.Get(), nullptr) : builder_->Connect(from.Get(), to.Get());
    if (i < effects.size()) from = PinOf(effects[i], L"Out");
  }
  return result;
}

HRESULT Graph::Reach(HRESULT result, OAFilterState state) {
  if (FAILED(result)) return result;
  OAFilterState reached = State_Stopped;
  result = control_->GetState(5000, &reached);
  return FAILED(result) || reached == state ? result : E_FAIL;
}

bool Graph::SaysComplete() {
  const ComPtr<IMediaEvent> events = Query<IMediaEvent>(builder_.Get());
  LONG code = 0;
  return events && SUCCEEDED(events->WaitForCompletion(5000, &code)) && code == EC_COMPLETE;
}

ComPtr<IPin> PinOf(IBaseFilter* filter, const WCHAR* id) {
  ComPtr<IPin> pin;
  filter->FindPin(id, pin.Put());
  return pin;
}

Stream MakeNoise(SampleFormat format, std::uint16_t channels, std::size_t frames, std::size_t silentFrom) {
  const FormatRecord record = MakeFormat(format, channels, 44100);
  Stream noise{record, Bytes(frames * record.blockAlign)};
  std::minstd_rand random(1);
  VisitFormat(format, [&](auto policy) {
    auto* const samples = reinterpret_cast<typename decltype(policy)::Sample*>(noise.bytes.data());
    for (std::size_t i = 0; i < frames * channels; ++i) {
      const double value = static_cast<double>(random()) / random.max() - 0.5;
      samples[i] = decltype(policy)::Write(i / channels < silentFrom ? value : 0);
    }
  });
  return noise;
}

}  // namespace korva
