#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "audio/format_record.h"
#include "platform/media.h"
#include "streaming/base_filter.h"
#include "streaming/base_pin.h"
// The graph's control interfaces; the header needs those above.
#include <control.h>

KORVA_PLATFORM_INTERFACE(IGraphBuilder)
KORVA_PLATFORM_INTERFACE(IMediaControl)
KORVA_INTERFACE_ID(IMediaEvent, IID_IMediaEvent)
KORVA_PLATFORM_INTERFACE(IAMFilterMiscFlags)

// A source and a sink that work by themselves, and the system's filter graph that joins them with the module's filters.
namespace korva {

using Bytes = std::vector<std::uint8_t>;

struct Stream {
  FormatRecord format;
  Bytes bytes;

  std::size_t frames() const { return bytes.size() / format.blockAlign; }
};

/// How a source cuts its stream up.
struct SourceOptions {
  std::uint32_t blockFrames = 1000;
  /// What a buffer has room for, if that is more: an effect may give its tail in one buffer and drop what does not fit.
  std::uint32_t roomFrames = 0;
  /// A frame at which a sample starts that is marked as a discontinuity, beside the first; 0 for none.
  std::size_t discontinuityAt = 0;
};

/// Sends a stream from its start each time it leaves the stopped state, on a thread of its own, as fast as it is taken.
class StreamPin final : public CBaseOutputPin {
 public:
  explicit StreamPin(CBaseFilter& owner) : CBaseOutputPin(owner, L"Source", L"Out") {}
  HRESULT GetMediaType(int position, CMediaType& type) override;
  HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override;
  HRESULT Active() override;
  HRESULT Inactive() override;

  /// Takes effect with the next connection or start.
  void SetStream(Stream stream, SourceOptions options = {});
  /// As a seek does it: flushes downstream and goes on from `frame`. Not while stopped.
  void Seek(std::size_t frame);

 private:
  bool ProposesFirst() const noexcept override { return true; }
  HRESULT DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) override;
  void Start(std::size_t frame);
  void Join();
  void Send(std::size_t start);

  Stream stream_{};
  SourceOptions options_;
  std::thread thread_;
  std::atomic<bool> stop_{false};
};

/// Keeps what it gets. Each time it leaves the stopped state it starts anew.
class WaitingPin final : public CBaseInputPin {
 public:
  explicit WaitingPin(CBaseFilter& owner) : CBaseInputPin(owner, L"Sink", L"In") {}
  HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override;
  HRESULT Receive(IMediaSample* sample) override;
  HRESULT EndOfStream() override;
  HRESULT BeginFlush() override;
  HRESULT EndFlush() override;
  HRESULT Active() override;
  HRESULT Inactive() override;

  static constexpr std::size_t kNever = static_cast<std::size_t>(-1);
  std::size_t blockAt = kNever;  ///< the sample with this number waits inside `Receive` until a flush or a stop
  bool WaitUntilBlocked() { return Wait(blocked_); }
  bool WaitForEnd() { return Wait(ended_); }
  Bytes received;

 private:
  bool Wait(const bool& state);
  void Change(bool& state, bool to);

  // Shared by all sinks: this library's locks keep their memory when they go, and the soak test counts bytes.
  static inline std::mutex lock_;
  static inline std::condition_variable changed_;
  std::size_t samples_ = 0;
  bool ended_ = false, blocked_ = false, released_ = false;
};

/// A filter with nothing but one pin.
template <class Pin>
class PinFilter : public CBaseFilter {
 public:
  PinFilter() : CBaseFilter(nullptr, GUID_NULL) {}
  KORVA_DELEGATE_UNKNOWN()
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? &pin : nullptr; }

  Pin pin{*this};
};

class StreamSource final : public PinFilter<StreamPin> {
 public:
  explicit StreamSource(Stream stream, SourceOptions options = {}) { pin.SetStream(std::move(stream), options); }
};

class WaitingSink final : public PinFilter<WaitingPin>, public IAMFilterMiscFlags {
 public:
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override {
    KORVA_ANSWER_OR(CBaseFilter, AnswerInterface<IAMFilterMiscFlags>(this, iid, out));
  }
  ULONG STDMETHODCALLTYPE GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }
};

/// The system's own filter graph.
class Graph {
 public:
  Graph();
  Graph(const Graph&) = delete;
  Graph& operator=(const Graph&) = delete;
  ~Graph();

  IGraphBuilder* operator->() const { return builder_.Get(); }
  HRESULT Add(IBaseFilter* filter) { return builder_->AddFilter(filter, L""); }
  /// Through the filter's pins "In" and "Out".
  HRESULT Chain(StreamSource& source, const std::vector<IBaseFilter*>& effects, WaitingSink& sink, bool direct);
  HRESULT Run() { return Reach(control_->Run(), State_Running); }
  HRESULT Pause() { return Reach(control_->Pause(), State_Paused); }
  HRESULT Stop() { return Reach(control_->Stop(), State_Stopped); }
  /// Whether the graph itself says that everything has been played.
  bool SaysComplete();

 private:
  HRESULT Reach(HRESULT result, OAFilterState state);

  ComPtr<IGraphBuilder> builder_;
  ComPtr<IMediaControl> control_;
};

/// The pin of a filter, by its id.
ComPtr<IPin> PinOf(IBaseFilter* filter, const WCHAR* id);

/// Noise at half scale, and silence from frame `silentFrom` on; the same for the same arguments everywhere.
Stream MakeNoise(SampleFormat format, std::uint16_t channels, std::size_t frames,
                 std::size_t silentFrom = static_cast<std::size_t>(-1));

}  // namespace korva
