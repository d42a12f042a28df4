#pragma once

#include <atomic>
#include <mutex>

#include "streaming/base_filter.h"
#include "streaming/com_ptr.h"
#include "streaming/media_type.h"
#include "streaming/unknown.h"
#include "streaming/wide_text.h"

namespace korva {

/// A pin answers `QueryInterface` itself, but its references are its filter's.
#define KORVA_PIN_UNKNOWN() KORVA_DELEGATE_TO_OWNER(this->NonDelegatingQueryInterface)

/// A pin of a filter: negotiates a media type with a pin of another filter. It lives as long as its filter, whose
/// references its own are.
///
/// Connections are made and broken while the filter is stopped, under the filter lock. What is asked of a pin is
/// answered from copies made under the link lock, so any thread may ask at any time, from inside any call.
class CBasePin : public CBaseObject, public IPin, public IQualityControl {
 public:
  /// `name` and `id` are kept as they are given.
  CBasePin(CBaseFilter& filter, PIN_DIRECTION direction, const WCHAR* name, const WCHAR* id)
      : filter_(filter), direction_(direction), name_(name), id_(id) {}
  virtual ~CBasePin() = default;
  KORVA_PIN_UNKNOWN()
  virtual HRESULT NonDelegatingQueryInterface(REFIID iid, void** out);
  IUnknown* GetOwner() const noexcept { return filter_.GetOwner(); }

  HRESULT Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) override;
  HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
  HRESULT Disconnect() override;
  HRESULT ConnectedTo(IPin** pin) override;
  HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) override;
  HRESULT QueryPinInfo(PIN_INFO* info) override;
  HRESULT QueryDirection(PIN_DIRECTION* direction) override;
  HRESULT QueryId(LPWSTR* id) override;
  HRESULT QueryAccept(const AM_MEDIA_TYPE* type) override;
  HRESULT EnumMediaTypes(IEnumMediaTypes** enumerator) override;
  HRESULT QueryInternalConnections(IPin** pins, ULONG* count) override;
  HRESULT EndOfStream() override { return S_OK; }
  HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

  HRESULT Notify(IBaseFilter* self, Quality quality) override;
  HRESULT SetSink(IQualityControl* sink) override;

  bool IsConnected() const;
  /// The pin at the other end; empty while not connected.
  ComPtr<IPin> GetConnected() const { return filter_.Linked(connected_); }
  /// Under the filter lock, and in a stream that runs. Elsewhere `ConnectionMediaType` makes a copy.
  const CMediaType& connectionType() const noexcept { return type_; }
  const WCHAR* id() const noexcept { return id_; }
  LONG MediaTypeVersion() const noexcept { return typeVersion_.load(); }

  /// The type `position` that this pin proposes; `VFW_S_NO_MORE_ITEMS` past the last.
  virtual HRESULT GetMediaType(int position, CMediaType& type);
  virtual HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) = 0;
  virtual HRESULT SetMediaType(const AM_MEDIA_TYPE& type);
  /// The filter leaves, or returns to, the stopped state.
  virtual HRESULT Active() { return S_OK; }
  virtual HRESULT Inactive() { return S_OK; }

 protected:
  virtual HRESULT CheckConnect(IPin* pin);
  virtual HRESULT CompleteConnect(IPin*) { return S_OK; }
  virtual HRESULT BreakConnect() { return S_OK; }
  /// Whether types are tried in this pin's own order before the other's.
  virtual bool ProposesFirst() const noexcept { return false; }
  void TypesChanged() noexcept { typeVersion_.fetch_add(1); }
  /// Where `SetSink` sends quality messages; empty for nowhere.
  ComPtr<IQualityControl> qualitySink() const;

  CBaseFilter& filter() const noexcept { return filter_; }

 private:
  HRESULT AgreeMediaType(IPin* receivePin, const AM_MEDIA_TYPE* wanted);
  HRESULT AttemptConnection(IPin* receivePin, const AM_MEDIA_TYPE& type);
  HRESULT TryTypesOf(IPin* proposer, IPin* receivePin, const AM_MEDIA_TYPE* wanted);
  HRESULT DropConnection();
  void ForgetConnection();

  CBaseFilter& filter_;
  const PIN_DIRECTION direction_;
  const WCHAR* const name_;
  const WCHAR* const id_;
  ComPtr<IPin> connected_;
  CMediaType type_;
  std::atomic<LONG> typeVersion_{1};
  IQualityControl* qualitySink_ = nullptr;  // not counted: the sink outlives the connection
};

/// An input pin: takes samples. Knows whether its filter can take one now.
class CBaseInputPin : public CBasePin, public IMemInputPin {
 public:
  CBaseInputPin(CBaseFilter& filter, const WCHAR* name, const WCHAR* id) : CBasePin(filter, PINDIR_INPUT, name, id) {}
  KORVA_PIN_UNKNOWN()
  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;

  HRESULT BeginFlush() override;
  HRESULT EndFlush() override;

  HRESULT GetAllocator(IMemAllocator** allocator) override;
  HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
  HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
  HRESULT ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) override;
  HRESULT ReceiveCanBlock() override { return S_OK; }

  HRESULT Inactive() override;

  /// `S_OK` when a sample may come; `S_FALSE` while flushing; `VFW_E_WRONG_STATE` when stopped;
  /// `VFW_E_RUNTIME_ERROR` after a runtime error.
  virtual HRESULT CheckStreaming();
  void SetRuntimeError() noexcept { runtimeError_.store(true); }
  ComPtr<IMemAllocator> allocator() const { return filter().Linked(allocator_); }
  bool IsReadOnly() const noexcept { return readOnly_.load(); }

 protected:
  HRESULT BreakConnect() override;

 private:
  ComPtr<IMemAllocator> allocator_;
  std::atomic<bool> readOnly_{false};
  std::atomic<bool> flushing_{false};
  std::atomic<bool> runtimeError_{false};
};

/// An output pin: settles on an allocator with the pin downstream and delivers.
class CBaseOutputPin : public CBasePin {
 public:
  CBaseOutputPin(CBaseFilter& filter, const WCHAR* name, const WCHAR* id) : CBasePin(filter, PINDIR_OUTPUT, name, id) {}

  HRESULT EndOfStream() override { return E_UNEXPECTED; }
  HRESULT BeginFlush() override { return E_UNEXPECTED; }
  HRESULT EndFlush() override { return E_UNEXPECTED; }

  HRESULT Active() override;
  HRESULT Inactive() override;

  /// Waits for an empty buffer. `VFW_E_NO_ALLOCATOR` while not connected.
  HRESULT GetDeliveryBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop, DWORD flags);
  /// The remaining calls answer `VFW_E_NOT_CONNECTED` while not connected.
  HRESULT Deliver(IMediaSample* sample);
  HRESULT DeliverEndOfStream();
  HRESULT DeliverBeginFlush();
  HRESULT DeliverEndFlush();
  HRESULT DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

  ComPtr<IMemAllocator> allocator() const { return filter().Linked(allocator_); }
  ComPtr<IMemInputPin> peer() const { return filter().Linked(peer_); }

 protected:
  HRESULT CheckConnect(IPin* pin) override;
  HRESULT CompleteConnect(IPin* pin) override;
  HRESULT BreakConnect() override;

  /// Settles on an allocator with `peer` and stores it. The usual way: the peer's own, then one of ours.
  virtual HRESULT DecideAllocator(IMemInputPin& peer);
  /// Fills in and sets the properties of `allocator`.
  virtual HRESULT DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) = 0;
  void UseAllocator(IMemAllocator* allocator) { filter().Link(allocator_, ComPtr<IMemAllocator>(allocator)); }
  /// Sets `allocator` up and uses it, if `peer` takes it.
  HRESULT TryAllocator(IMemInputPin& peer, IMemAllocator* allocator, ALLOCATOR_PROPERTIES properties);

 private:
  ComPtr<IMemInputPin> peer_;
  ComPtr<IMemAllocator> allocator_;
};

}  // namespace korva
