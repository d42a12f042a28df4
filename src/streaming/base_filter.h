#pragma once

#include <array>
#include <atomic>
#include <mutex>
#include <utility>

#include "platform/locks.h"
#include "platform/media.h"
#include "streaming/com_ptr.h"
#include "streaming/movie_setup.h"
#include "streaming/unknown.h"

namespace korva {

class CBasePin;

/// A filter: numbered pins, a state, a clock, a place in a graph.
///
/// `filterLock` is held across state changes and connections. Neither the streaming path nor anything that a neighbour
/// in the graph may ask takes it: the state is an atomic, and what this filter is linked with (the pins' connections
/// and allocators, the clock, the graph) is copied under `linkLock`. So a call downstream cannot end in a wait for a
/// state change that itself waits for the stream.
class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup {
 public:
  CBaseFilter(IUnknown* outer, REFCLSID classId) : CUnknown(outer), classId_(classId) {}

  HRESULT NonDelegatingQueryInterface(REFIID iid, void** out) override;

  virtual int GetPinCount() = 0;
  /// The pin `n`, with no reference added; null where there is none.
  virtual CBasePin* GetPin(int n) = 0;

  HRESULT GetClassID(CLSID* classId) override;
  HRESULT Stop() override;
  HRESULT Pause() override;
  HRESULT Run(REFERENCE_TIME start) override;
  HRESULT GetState(DWORD timeoutMilliseconds, FILTER_STATE* state) override;
  HRESULT SetSyncSource(IReferenceClock* clock) override;
  HRESULT GetSyncSource(IReferenceClock** clock) override;
  HRESULT EnumPins(IEnumPins** enumerator) override;
  HRESULT FindPin(LPCWSTR id, IPin** pin) override;
  HRESULT QueryFilterInfo(FILTER_INFO* info) override;
  HRESULT JoinFilterGraph(IFilterGraph* graph, LPCWSTR name) override;
  HRESULT QueryVendorInfo(LPWSTR* vendorInfo) override;

  /// What the system's list of filters knows of this one; null for a filter that only its own program knows.
  virtual const FilterSetup* GetSetupData();
  /// `E_NOTIMPL` where the system keeps no list of filters, `S_FALSE` with no setup record.
  HRESULT Register() override { return Enter(true); }
  HRESULT Unregister() override { return Enter(false); }

  FILTER_STATE state() const noexcept { return state_.load(); }
  bool IsStopped() const noexcept { return state() == State_Stopped; }
  LONG PinVersion() const noexcept { return pinVersion_.load(); }
  ComPtr<IFilterGraph> graph() const;
  platform::RecursiveLock& filterLock() noexcept { return filterLock_; }
  /// The innermost lock: held to copy or change a link and its count, never across any other call.
  platform::Lock& linkLock() const noexcept { return linkLock_; }
  /// A link, with a reference of the caller's own.
  template <class Interface>
  ComPtr<Interface> Linked(const ComPtr<Interface>& link) const {
    const std::lock_guard guard(linkLock_);
    return link;
  }
  /// Changes a link; what was there is let go after the lock.
  template <class Interface>
  void Link(ComPtr<Interface>& link, ComPtr<Interface> next) {
    const std::lock_guard guard(linkLock_);
    std::swap(link, next);
  }
  /// Asks the graph to renegotiate `pin`; `VFW_E_NOT_IN_GRAPH` with no graph.
  HRESULT ReconnectPin(IPin* pin);

 protected:
  ~CBaseFilter() override = default;
  void SetState(FILTER_STATE state) noexcept { state_.store(state); }
  /// Enumerators made before this call are out of sync.
  void PinsChanged() noexcept { pinVersion_.fetch_add(1); }

 private:
  HRESULT Enter(bool enter);

  const CLSID classId_;
  platform::RecursiveLock filterLock_;
  mutable platform::Lock linkLock_;
  std::atomic<FILTER_STATE> state_{State_Stopped};
  std::atomic<LONG> pinVersion_{1};
  ComPtr<IReferenceClock> clock_;
  IFilterGraph* graph_ = nullptr;  // not counted: a graph outlives its filters' membership
  std::array<WCHAR, MAX_FILTER_NAME> name_{};
};

}  // namespace korva
