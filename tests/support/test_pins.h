#pragma once

#include <functional>
#include <string>
#include <vector>

#include "streaming/allocator.h"
#include "streaming/base_filter.h"
#include "streaming/base_pin.h"
#include "support/owned.h"
#include "support/signals.h"

namespace korva {

/// A filter with nothing but one pin.
template <class Pin>
class OnePinFilter : public CBaseFilter {
 public:
  OnePinFilter() : CBaseFilter(nullptr, GUID_NULL) {}
  KORVA_DELEGATE_UNKNOWN()
  int GetPinCount() override { return 1; }
  CBasePin* GetPin(int n) override { return n == 0 ? &pin : nullptr; }
  using CBaseFilter::PinsChanged;

  Pin pin{*this};
};

/// Where a test's samples come from. Proposes `formats` in order, and has its buffers as `wanted` says.
class SourcePin : public CBaseOutputPin {
 public:
  explicit SourcePin(CBaseFilter& owner) : CBaseOutputPin(owner, KORVA_WTEXT("Source"), KORVA_WTEXT("Out")) {}

  HRESULT GetMediaType(int position, CMediaType& type) override {
    if (position < 0 || position >= static_cast<int>(formats.size())) return VFW_S_NO_MORE_ITEMS;
    return type.SetWave(formats[static_cast<std::size_t>(position)]);
  }
  HRESULT CheckMediaType(const AM_MEDIA_TYPE&) override { return S_OK; }
  HRESULT QueryAccept(const AM_MEDIA_TYPE* type) override {
    return refuseOtherTypes ? S_FALSE : CBaseOutputPin::QueryAccept(type);
  }
  using CBasePin::TypesChanged;

  std::vector<FormatRecord> formats;
  ALLOCATOR_PROPERTIES wanted{2, 4096, 16, 0};
  bool readOnly = false;      ///< buffers of its own, that nobody may write to
  bool ownAllocator = false;  ///< buffers of its own
  bool takesOffered = false;  ///< read-only buffers are those that the peer offers
  bool refuseOtherTypes = true;

 protected:
  HRESULT DecideAllocator(IMemInputPin& peer) override {
    if (!readOnly && !ownAllocator) return CBaseOutputPin::DecideAllocator(peer);
    ComPtr<IMemAllocator> offered, own;
    if (takesOffered && peer.GetAllocator(offered.Put()) == S_OK && Use(peer, *offered.Get()) == S_OK) return S_OK;
    if (const HRESULT result = CreateMemoryAllocator(own.Put()); FAILED(result)) return result;
    return Use(peer, *own.Get());
  }
  HRESULT DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) override {
    ALLOCATOR_PROPERTIES request = wanted;
    request.cbAlign = std::max(request.cbAlign, properties.cbAlign);
    return allocator.SetProperties(&request, &properties);
  }

 private:
  HRESULT Use(IMemInputPin& peer, IMemAllocator& allocator) {
    ALLOCATOR_PROPERTIES properties{};
    if (const HRESULT result = DecideBufferSize(allocator, properties); FAILED(result)) return result;
    if (const HRESULT result = peer.NotifyAllocator(&allocator, readOnly ? TRUE : FALSE); FAILED(result)) return result;
    UseAllocator(&allocator);
    return S_OK;
  }
};

/// Where a test's samples go. Keeps what came and the order of events.
class SinkPin : public CBaseInputPin {
 public:
  struct Arrival {
    std::size_t bytes;
    BYTE* address;
    REFERENCE_TIME start, stop;
    HRESULT timed;
    bool discontinuity;
  };

  explicit SinkPin(CBaseFilter& owner) : CBaseInputPin(owner, KORVA_WTEXT("Sink"), KORVA_WTEXT("In")) {}

  HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override { return accept ? accept(type) : S_OK; }
  HRESULT NotifyAllocator(IMemAllocator* offered, BOOL isReadOnly) override {
    if (insistsOnOwn && offered != allocator().Get()) return E_FAIL;
    return CBaseInputPin::NotifyAllocator(offered, isReadOnly);
  }
  HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override {
    if (requirements.cBuffers == 0) return E_NOTIMPL;
    *properties = requirements;
    return S_OK;
  }
  HRESULT Receive(IMediaSample* sample) override {
    if (const HRESULT result = CheckStreaming(); result != S_OK || !keeps) return result;
    Arrival arrival{static_cast<std::size_t>(sample->GetActualDataLength()), nullptr, 0, 0, S_OK, false};
    arrival.timed = sample->GetTime(&arrival.start, &arrival.stop);
    arrival.discontinuity = sample->IsDiscontinuity() == S_OK;
    if (SUCCEEDED(sample->GetPointer(&arrival.address))) {
      received.insert(received.end(), arrival.address, arrival.address + arrival.bytes);
    }
    arrivals.push_back(arrival);
    Note("sample ");
    return onReceive ? onReceive(*sample) : answer;
  }
  HRESULT EndOfStream() override {
    Note("end ");
    return S_OK;
  }
  HRESULT BeginFlush() override {
    Note("flush ");
    return CBaseInputPin::BeginFlush();
  }
  HRESULT EndFlush() override {
    Note("flushed ");
    return CBaseInputPin::EndFlush();
  }
  HRESULT NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override {
    Note("segment ");
    return S_OK;
  }

  std::function<HRESULT(const AM_MEDIA_TYPE&)> accept;
  std::function<HRESULT(IMediaSample&)> onReceive;
  std::function<void(const std::string&)> onEvent;  ///< called from inside each call, with what `events` says of it
  ALLOCATOR_PROPERTIES requirements{};
  bool insistsOnOwn = false;
  bool keeps = true;      ///< whether samples are kept and hooks called
  HRESULT answer = S_OK;  ///< of the next `Receive`
  Bytes received;
  std::vector<Arrival> arrivals;
  std::string events;

 private:
  void Note(const char* event) {
    events += event;
    if (onEvent) onEvent(event);
  }
};

using SourceFilter = OnePinFilter<SourcePin>;
using SinkFilter = OnePinFilter<SinkPin>;

}  // namespace korva
