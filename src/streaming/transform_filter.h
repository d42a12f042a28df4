#pragma once

#include <atomic>
#include <mutex>

#include "platform/locks.h"
#include "streaming/base_filter.h"
#include "streaming/base_pin.h"
#include "streaming/seeking_pass_through.h"

namespace korva {

class CTransformFilter;

/// The input pin of a transform: hands everything to its filter.
class CTransformInputPin : public CBaseInputPin {
 public:
  explicit CTransformInputPin(CTransformFilter& filter);

  HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override;
  HRESULT SetMediaType(const AM_MEDIA_TYPE& type) override;
  HRESULT EndOfStream() override;
  HRESULT BeginFlush() override;
  HRESULT EndFlush() override;
  HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

  /// Under the receive lock: a null sample gives `E_POINTER`, then `CheckStreaming`, then the filter's `Receive`. The
  /// sample's properties are not fetched, so a type change carried in a sample is not noticed.
  HRESULT Receive(IMediaSample* sample) override;
  /// Sends a quality message of the renderer to the sink of `SetSink`, or with none upstream.
  HRESULT PassNotify(Quality quality);
  /// As the base, and before all else `VFW_E_NOT_CONNECTED` when the filter's output is not connected.
  HRESULT CheckStreaming() override;

 protected:
  HRESULT CompleteConnect(IPin* pin) override;
  HRESULT BreakConnect() override;
  CTransformFilter& transform() const noexcept { return transform_; }

 private:
  CTransformFilter& transform_;
};

/// The output pin of a transform. Seeking commands of a host go through it to the filter upstream. So does what a
/// renderer says of its quality, where no one was set to hear it.
class CTransformOutputPin : public CBaseOutputPin {
 public:
  explicit CTransformOutputPin(CTransformFilter& filter);
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;

  HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override;
  HRESULT SetMediaType(const AM_MEDIA_TYPE& type) override;
  HRESULT GetMediaType(int position, CMediaType& type) override;
  HRESULT Notify(IBaseFilter* self, Quality quality) override;

 protected:
  HRESULT CompleteConnect(IPin* pin) override;
  HRESULT BreakConnect() override;
  HRESULT DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) override;
  CTransformFilter& transform() const noexcept { return transform_; }

 private:
  CTransformFilter& transform_;
  CSeekingPassThru seeking_;
};

/// A filter with one input and one output pin, "Input" and "Output", made on first use.
///
/// Locks, always taken in this order: `filterLock` across state changes and connections, `receiveLock` across the whole
/// of `Receive` and end of stream, `linkLock` of the base. `StartStreaming` and `StopStreaming` run under the first
/// two; flushes and new segments pass under none.
class CTransformFilter : public CBaseFilter {
 public:
  CTransformFilter(IUnknown* outer, REFCLSID classId) : CBaseFilter(outer, classId) {}

  int GetPinCount() override { return 2; }
  /// 0 the input pin, 1 the output pin, null for any other; both or neither exist.
  CBasePin* GetPin(int n) override;

  HRESULT Stop() override;
  HRESULT Pause() override;

  // What a transform does. The published names and order.
  virtual HRESULT CheckInputType(const AM_MEDIA_TYPE& type) = 0;
  virtual HRESULT CheckTransform(const AM_MEDIA_TYPE& in, const AM_MEDIA_TYPE& out) = 0;
  virtual HRESULT DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) = 0;
  virtual HRESULT GetMediaType(int position, CMediaType& type) = 0;
  virtual HRESULT StartStreaming() { return S_OK; }
  virtual HRESULT StopStreaming() { return S_OK; }
  virtual HRESULT AlterQuality(Quality) { return S_FALSE; }
  virtual HRESULT SetMediaType(PIN_DIRECTION, const AM_MEDIA_TYPE&) { return S_OK; }
  virtual HRESULT CompleteConnect(PIN_DIRECTION, IPin*) { return S_OK; }
  virtual HRESULT BreakConnect(PIN_DIRECTION) { return S_OK; }
  virtual HRESULT Receive(IMediaSample* sample) = 0;
  virtual HRESULT EndOfStream();
  virtual HRESULT BeginFlush();
  virtual HRESULT EndFlush();
  virtual HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

  platform::RecursiveLock& receiveLock() noexcept { return receiveLock_; }
  /// Null until `GetPin` made them.
  CTransformInputPin* inputPin() const noexcept { return input_.load(); }
  CTransformOutputPin* outputPin() const noexcept { return output_.load(); }

 protected:
  ~CTransformFilter() override;

  /// Null where there is no memory.
  virtual CTransformInputPin* CreateInputPin();
  virtual CTransformOutputPin* CreateOutputPin();

 private:
  bool MakePins();

  platform::RecursiveLock receiveLock_;
  std::atomic<CTransformInputPin*> input_{nullptr};
  std::atomic<CTransformOutputPin*> output_{nullptr};
  bool started_ = false;
};

}  // namespace korva
