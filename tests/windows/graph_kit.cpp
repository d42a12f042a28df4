#include "graph_kit.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "streaming/allocator.h"

namespace korva {
namespace {

constexpr auto kPatience = std::chrono::seconds(20);

}  // namespace

class SourceFilter::Pin final : public CBaseOutputPin {
 public:
  explicit Pin(SourceFilter& owner) : CBaseOutputPin(owner, L"Output", L"Out"), source_(owner) {}

  HRESULT GetMediaType(int position, CMediaType& type) override {
    return position == 0 ? type.SetWave(source_.stream_.format) : VFW_S_NO_MORE_ITEMS;
  }
  HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override {
    CMediaType own;
    own.SetWave(source_.stream_.format);
    return SameMediaType(own.get(), type) ? S_OK : S_FALSE;
  }
  HRESULT Active() override {
    const HRESULT result = CBaseOutputPin::Active();
    if (SUCCEEDED(result)) Start(0);
    return result;
  }
  HRESULT Inactive() override {
    stop_ = true;
    const HRESULT result = CBaseOutputPin::Inactive();
    Join();
    return result;
  }
  void Seek(std::size_t frame) {
    DeliverBeginFlush();
    stop_ = true;
    Join();
    DeliverEndFlush();
    Start(frame);
  }

 protected:
  HRESULT DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) override {
    properties.cBuffers = std::max<LONG>(properties.cBuffers, 3);
    const std::uint32_t frames = std::max(source_.options_.blockFrames, source_.options_.roomFrames);
    properties.cbBuffer = static_cast<LONG>(frames * source_.stream_.format.blockAlign);
    properties.cbAlign = std::max<LONG>(properties.cbAlign, 1);
    ALLOCATOR_PROPERTIES actual{};
    return allocator.SetProperties(&properties, &actual);
  }
  bool ProposesFirst() const noexcept override { return true; }

 private:
  void Start(std::size_t frame) {
    stop_ = false;
    thread_ = std::thread([this, frame] { Send(frame); });
  }
  void Join() {
    if (thread_.joinable()) thread_.join();
  }

  void Send(std::size_t start) {
    const Stream& stream = source_.stream_;
    const std::size_t cut = source_.options_.discontinuityAt;
    for (std::size_t frame = start; frame < stream.frames() && !stop_;) {
      std::size_t end = std::min(frame + source_.options_.blockFrames, stream.frames());
      if (frame < cut && cut < end) end = cut;
      ComPtr<IMediaSample> sample;
      if (FAILED(GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0))) return;
      BYTE* data = nullptr;
      sample->GetPointer(&data);
      const std::size_t align = stream.format.blockAlign;
      std::memcpy(data, stream.bytes.data() + frame * align, (end - frame) * align);
      sample->SetActualDataLength(static_cast<LONG>((end - frame) * align));
      const auto timeOf = [&](std::size_t at) {
        return static_cast<REFERENCE_TIME>(at * 10'000'000ULL / stream.format.samplesPerSecond);
      };
      REFERENCE_TIME from = timeOf(frame), to = timeOf(end);
      sample->SetTime(&from, &to);
      sample->SetDiscontinuity(frame == start || frame == cut ? TRUE : FALSE);
      source_.lastResult_ = Deliver(sample.Get());
      if (source_.lastResult_ != S_OK) return;
      frame = end;
    }
    if (!stop_) DeliverEndOfStream();
  }

  SourceFilter& source_;
  std::thread thread_;
  std::atomic<bool> stop_{false};
};

SourceFilter::SourceFilter(Stream stream, SourceOptions options)
    : CBaseFilter(nullptr, GUID_NULL), stream_(std::move(stream)), options_(options), pin_(new Pin(*this)) {}

SourceFilter::~SourceFilter() {
  delete pin_;
}

CBasePin* SourceFilter::GetPin(int n) {
  return n == 0 ? pin_ : nullptr;
}

IPin* SourceFilter::Output() {
  return pin_;
}

void SourceFilter::SetStream(Stream stream, SourceOptions options) {
  stream_ = std::move(stream);
  options_ = options;
}

void SourceFilter::Seek(std::size_t frame) {
  pin_->Seek(frame);
}

class SinkFilter::Pin final : public CBaseInputPin {
 public:
  explicit Pin(SinkFilter& owner) : CBaseInputPin(owner, L"Input", L"In"), sink_(owner) {}

  HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override {
    return type.majortype == MEDIATYPE_Audio ? S_OK : S_FALSE;
  }
  HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override {
    if (sink_.ownAllocatorOnly_ && allocator != this->allocator().Get()) return E_FAIL;
    return CBaseInputPin::NotifyAllocator(allocator, readOnly);
  }
  HRESULT Receive(IMediaSample* sample) override {
    if (sample == nullptr) return E_POINTER;
    if (const HRESULT result = CheckStreaming(); result != S_OK) return result;
    BYTE* data = nullptr;
    sample->GetPointer(&data);
    std::unique_lock guard(sink_.lock_);
    const std::size_t number = sink_.samples_++;
    if (number >= sink_.refuseFrom_) return sink_.refusal_;
    if (number == sink_.blockAt_) {
      sink_.blocked_ = true;
      sink_.changed_.notify_all();
      sink_.changed_.wait_for(guard, kPatience, [this] { return sink_.released_; });
      return S_FALSE;
    }
    sink_.bytes_.insert(sink_.bytes_.end(), data, data + sample->GetActualDataLength());
    return S_OK;
  }
  HRESULT EndOfStream() override {
    if (const HRESULT result = CheckStreaming(); result != S_OK) return result;
    {
      const std::lock_guard guard(sink_.lock_);
      sink_.ended_ = true;
      sink_.changed_.notify_all();
    }
    const ComPtr<IMediaEventSink> events = Query<IMediaEventSink>(sink_.graph().Get());
    if (events) events->Notify(EC_COMPLETE, S_OK, reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(&sink_)));
    return S_OK;
  }
  HRESULT BeginFlush() override {
    const HRESULT result = CBaseInputPin::BeginFlush();
    Release_();
    return result;
  }
  HRESULT EndFlush() override {
    {
      const std::lock_guard guard(sink_.lock_);
      sink_.bytes_.clear();
      sink_.ended_ = false;
    }
    return CBaseInputPin::EndFlush();
  }
  HRESULT Inactive() override {
    Release_();
    return CBaseInputPin::Inactive();
  }

 private:
  void Release_() {
    const std::lock_guard guard(sink_.lock_);
    sink_.released_ = true;
    sink_.changed_.notify_all();
  }

  SinkFilter& sink_;
};

SinkFilter::SinkFilter() : CBaseFilter(nullptr, GUID_NULL), pin_(new Pin(*this)) {}

SinkFilter::~SinkFilter() {
  delete pin_;
}

HRESULT SinkFilter::NonDelegatingQueryInterface(REFIID iid, void** out) {
  KORVA_ANSWER_OR(CBaseFilter, AnswerInterface<IAMFilterMiscFlags>(this, iid, out));
}

CBasePin* SinkFilter::GetPin(int n) {
  return n == 0 ? pin_ : nullptr;
}

IPin* SinkFilter::Input() {
  return pin_;
}

HRESULT SinkFilter::Pause() {
  if (IsStopped()) {
    const std::lock_guard guard(lock_);
    bytes_.clear();
    samples_ = 0;
    ended_ = blocked_ = released_ = false;
  }
  return CBaseFilter::Pause();
}

void SinkFilter::RefuseFrom(std::size_t sample, HRESULT result) {
  const std::lock_guard guard(lock_);
  refuseFrom_ = sample;
  refusal_ = result;
}

void SinkFilter::BlockAt(std::size_t sample) {
  const std::lock_guard guard(lock_);
  blockAt_ = sample;
}

bool SinkFilter::WaitUntilBlocked() {
  std::unique_lock guard(lock_);
  return changed_.wait_for(guard, kPatience, [this] { return blocked_; });
}

bool SinkFilter::WaitForEnd() {
  std::unique_lock guard(lock_);
  return changed_.wait_for(guard, kPatience, [this] { return ended_; });
}

std::vector<std::uint8_t> SinkFilter::bytes() {
  const std::lock_guard guard(lock_);
  return bytes_;
}

std::size_t SinkFilter::samples() {
  const std::lock_guard guard(lock_);
  return samples_;
}

Graph::Graph() {
  ::CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, InterfaceId<IGraphBuilder>(),
                     builder_.PutVoid());
  control_ = Query<IMediaControl>(builder_.Get());
}

Graph::~Graph() {
  if (control_) control_->Stop();
}

HRESULT Graph::Chain(SourceFilter& source, const std::vector<IBaseFilter*>& effects, SinkFilter& sink, bool direct) {
  HRESULT result = Add(&source);
  for (IBaseFilter* effect : effects) {
    if (SUCCEEDED(result)) result = Add(effect);
  }
  if (SUCCEEDED(result)) result = Add(&sink);
  ComPtr<IPin> from(source.Output());
  for (std::size_t i = 0; i <= effects.size() && SUCCEEDED(result); ++i) {
    const ComPtr<IPin> to = i < effects.size() ? PinOf(effects[i], L"In") : ComPtr<IPin>(sink.Input());
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
  Stream stream{MakeFormat(format, channels, 44100), {}};
  std::uint32_t state = 12345;
  VisitFormat(format, [&](auto policy) {
    using Sample = typename decltype(policy)::Sample;
    stream.bytes.resize(frames * channels * sizeof(Sample));
    for (std::size_t i = 0; i < frames * channels; ++i) {
      state = state * 1664525U + 1013904223U;
      const double value = static_cast<double>(static_cast<std::int32_t>(state)) * 0x1p-32;
      const Sample sample = policy.Write(i / channels < silentFrom ? value : 0.0);
      std::memcpy(stream.bytes.data() + i * sizeof(Sample), &sample, sizeof(Sample));
    }
  });
  return stream;
}

}  // namespace korva
