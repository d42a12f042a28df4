#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
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

// A source and a sink of our own, and the system's filter graph that joins them with the module's filters.
namespace korva {

struct Stream {
  FormatRecord format;
  std::vector<std::uint8_t> bytes;

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
class SourceFilter final : public CBaseFilter {
 public:
  explicit SourceFilter(Stream stream, SourceOptions options = {});
  KORVA_DELEGATE_UNKNOWN()
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override;
  IPin* Output();

  /// Takes effect with the next connection or start.
  void SetStream(Stream stream, SourceOptions options = {});
  /// As a seek does it: flushes downstream and goes on from `frame`. Not while stopped.
  void Seek(std::size_t frame);
  /// What the last delivery said.
  HRESULT lastResult() const { return lastResult_; }

 private:
  class Pin;
  ~SourceFilter() override;

  Stream stream_;
  SourceOptions options_;
  std::atomic<HRESULT> lastResult_{S_OK};
  Pin* pin_;
};

/// Keeps what it gets. Each time it leaves the stopped state it starts anew.
class SinkFilter final : public CBaseFilter, public IAMFilterMiscFlags {
 public:
  SinkFilter();
  KORVA_DELEGATE_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override;
  HRESULT Pause() override;
  ULONG STDMETHODCALLTYPE GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_RENDERER; }
  IPin* Input();

  /// The samples from this one on are answered with `result`, and not kept.
  void RefuseFrom(std::size_t sample, HRESULT result);
  /// The sample with this number waits inside `Receive` until a flush or a stop.
  void BlockAt(std::size_t sample);
  /// Answers every allocator but the sink's own with a failure.
  void InsistOnOwnAllocator() { ownAllocatorOnly_ = true; }
  bool WaitUntilBlocked();
  bool WaitForEnd();
  std::vector<std::uint8_t> bytes();
  std::size_t samples();

 private:
  class Pin;
  ~SinkFilter() override;

  static constexpr std::size_t kNever = static_cast<std::size_t>(-1);
  bool ownAllocatorOnly_ = false;
  // Shared by all sinks: this library's locks keep their memory when they go, and the soak test counts bytes.
  static inline std::mutex lock_;
  static inline std::condition_variable changed_;
  std::vector<std::uint8_t> bytes_;
  std::size_t samples_ = 0, refuseFrom_ = kNever, blockAt_ = kNever;
  HRESULT refusal_ = E_FAIL;
  bool ended_ = false, blocked_ = false, released_ = false;
  Pin* pin_;
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
  HRESULT Chain(SourceFilter& source, const std::vector<IBaseFilter*>& effects, SinkFilter& sink, bool direct);
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
