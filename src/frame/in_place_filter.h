#pragma once

#include <atomic>
#include <cstdint>

#include "audio/process_mode.h"
#include "audio/tempo_info.h"
#include "frame/effect_filter.h"
#include "frame/mfx_tempo.h"
#include "frame/plugin_params.h"
#include "streaming/trans_in_place.h"

namespace korva {

/// What holds for one chunk of a buffer when an effect decides whether to update its engine. What a chunk that was
/// passed over did not take is still there for the next one.
struct ChunkEvents {
  ProcessMode mode;          ///< what the buffer is to the engine
  bool continuous;           ///< false at a discontinuity
  bool direct;               ///< the chunk came by the direct road
  bool tailOnly;             ///< the host asks only for what rings on
  bool afterSkip;            ///< the chunk before was skipped
  bool tempoChanged;         ///< tempo or meter changed since the last update
  std::uint32_t changeBits;  ///< rows that automation moved
  const TempoInfo* tempo;    ///< null when no host gives tempo

  /// Whether an engine that updates itself by chunks has to look; on the direct road nothing restarts by itself.
  bool AskForUpdate(bool paramsChanged, bool engineReady) const noexcept {
    if (paramsChanged || changeBits != 0 || tempoChanged) return true;
    return !direct && (!engineReady || !continuous || afterSkip);
  }
};

/// The frame of the four effects that rewrite audio in place. It cuts buffers into chunks over which the parameters
/// hold still and hands each to the effect's engine, by two roads: samples of a graph (the graph road), and float
/// buffers of a host with none (the direct road).
///
/// What differs between effects they answer in the hooks at the end. The streaming thread calls the hooks of the loop;
/// no lock is held across a kernel.
class CQvInPlaceFilter : public EffectFilter<CTransInPlaceFilter>, public IQvAudioTransformFloat {
 public:
  CQvInPlaceFilter(IUnknown* outer, const EffectDescription& effect)
      : EffectFilter<CTransInPlaceFilter>(outer, effect.filterClass) {}

  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;

  HRESULT CheckInputType(const AM_MEDIA_TYPE& type) override;
  HRESULT CheckTransform(const AM_MEDIA_TYPE&, const AM_MEDIA_TYPE&) override { return S_OK; }
  HRESULT GetMediaType(int, CMediaType&) override { return E_UNEXPECTED; }
  HRESULT SetMediaType(PIN_DIRECTION direction, const AM_MEDIA_TYPE& type) override;
  HRESULT BreakConnect(PIN_DIRECTION direction) override;
  HRESULT StartStreaming() override;
  HRESULT StopStreaming() override;
  HRESULT Receive(IMediaSample* sample) override;
  HRESULT EndOfStream() override;

  /// Rewrites one sample. `S_FALSE` means that the engine has no more to give.
  HRESULT Transform(IMediaSample& sample);

  HRESULT FloatStart(WORD channels, DWORD samplesPerSecond) override;
  HRESULT FloatProcess(float* buffer, DWORD frames, LONG tailOnly) override;
  HRESULT FloatTail(float* buffer, DWORD* frames) override;
  HRESULT FloatStop() override;
  HRESULT FloatQuery() override;
  HRESULT FloatReset(LONG rewind) override;

  /// From the next stream on: memory for all that the rows can ask for is taken with the stream. No change while it
  /// runs asks for any then.
  virtual void ReserveForRows(bool /*on*/) {}

 protected:
  // Hooks: what an effect is.

  /// The stores that drive chunks; null where the effect has none.
  virtual CQvPlugInParams* automation() noexcept { return nullptr; }
  virtual CMFXTempo* tempo() noexcept { return nullptr; }

  /// Makes the engine ready for a stream of `format`, restarted.
  virtual HRESULT StartEngine(const FormatRecord& format) = 0;
  virtual void StopEngine() = 0;
  /// A new format was negotiated; no stream runs.
  virtual void FormatChanged(const FormatRecord& /*format*/) {}
  /// Whether the effect rings on after its input.
  virtual bool HasTail() { return false; }
  /// Whether tail-only samples are skipped now because the tail is over.
  virtual bool TailIsOver() { return true; }
  /// Asked before a chunk is picked up: the effect lets it pass as it is, and rings out nothing.
  virtual bool PassesChunk() { return false; }
  /// Picks parameter changes up and updates the engine where `events` ask for it. May lower a restart to running on,
  /// where the update has done what the kernel would.
  virtual HRESULT PickUp(ChunkEvents& events) = 0;
  /// Runs the kernel of the stream's format in place. `frames` is read and written. 0, 1 when the engine has no more to
  /// give, or a failure.
  virtual HRESULT RunKernel(ProcessMode mode, void* data, std::uint32_t& frames, bool tailOnly) = 0;
  /// 0 when changes wait to be picked up, otherwise 1.
  virtual HRESULT ChangesWaiting() { return S_FALSE; }
  /// The update of `FloatReset`: `S_FALSE` with nothing done unless something changed or `rewind`. `tempo` may be null.
  virtual HRESULT ResetEngine(bool rewind, const TempoInfo* tempo) = 0;

 private:
  /// One buffer on its way through the loop.
  struct Buffer {
    std::uint8_t* data;
    std::uint32_t frames;
    ProcessMode mode;
    bool direct, tailOnly, skip;
    std::uint32_t done = 0;
    std::uint32_t counted = 0;  // frames that the tempo's position has moved over
    bool ended = false;         // the engine has no more to give, or failed
  };
  /// What happened since the engine was last updated.
  struct Pending {
    bool restart = false, tempoChanged = false;
    std::uint32_t changeBits = 0;
  };

  /// Makes `type`'s format the stream's.
  void UseFormat(const AM_MEDIA_TYPE& type);
  /// Back to the input's format; without one, `connected` false included, there is no record to show.
  void UseFormatOfInput(bool connected);
  HRESULT StartRun();
  HRESULT Transform(IMediaSample& sample, bool tailOnly);
  HRESULT RunChunks(Buffer& buffer);
  HRESULT RunOneChunk(Buffer& buffer, std::uint32_t frames, const TempoInfo* tempo);
  /// Where both roads and the tail of the direct one meet.
  HRESULT RunFlushing(ProcessMode mode, void* data, std::uint32_t& frames, bool tailOnly);
  void CountSkippedFrames(const Buffer& buffer);
  /// Nothing cuts the buffers of an effect without the two stores: its engine is asked once for each, however many
  /// frames that yields.
  bool TakesWholeBuffers() noexcept { return automation() == nullptr && tempo() == nullptr; }

  FormatRecord formatRecord_;
  std::int64_t sampleStart_ = 0, sampleStop_ = 0;
  // What a host's other threads ask or leave behind while the stream runs.
  std::atomic<bool> started_ = false;      // between StartStreaming and StopStreaming
  std::atomic<bool> direct_ = false;       // between FloatStart and FloatStop
  std::atomic<bool> rewindAsked_ = false;  // the next chunk of the graph rewinds the engine
  bool sampleSeen_ = false;                // since StartStreaming
  bool afterSkip_ = false;                 // the sample before was skipped
  bool flushingTail_ = false;              // the end-of-stream loop runs
  Pending pending_;
};

}  // namespace korva
