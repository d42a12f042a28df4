#pragma once

#include "streaming/transform_filter.h"

namespace korva {

class CTransInPlaceFilter;

/// The input pin of an in-place transform: offers the allocator of the pin downstream, so that both sides share one.
class CTransInPlaceInputPin : public CTransformInputPin {
 public:
  explicit CTransInPlaceInputPin(CTransInPlaceFilter& filter);

  HRESULT EnumMediaTypes(IEnumMediaTypes** enumerator) override;
  HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override;
  HRESULT GetAllocator(IMemAllocator** allocator) override;
  HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
  HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;

 private:
  CTransInPlaceFilter& inPlace_;
};

/// The output pin of an in-place transform: proposes upstream's types and takes upstream's allocator.
class CTransInPlaceOutputPin : public CTransformOutputPin {
 public:
  explicit CTransInPlaceOutputPin(CTransInPlaceFilter& filter);

  HRESULT EnumMediaTypes(IEnumMediaTypes** enumerator) override;
  HRESULT CheckMediaType(const AM_MEDIA_TYPE& type) override;
  /// The input was given `allocator`; deliver in it if the pin downstream takes it.
  void ShareAllocator(IMemAllocator& allocator, BOOL readOnly);
  /// Changes from `allocator`, whose buffers upstream now holds, to one of our own; a failure if the pin downstream
  /// takes no other.
  HRESULT LeaveAllocator(IMemAllocator& allocator);

 protected:
  HRESULT DecideAllocator(IMemInputPin& peer) override;

 private:
  CTransInPlaceFilter& inPlace_;
};

/// A transform that rewrites samples in their own memory and sends the very samples on.
///
/// Both connections carry one type and, whenever both neighbours allow it, one allocator. Where they do not (the pin
/// downstream insists on its own memory, or upstream's buffers are read-only), `Writable` copies.
class CTransInPlaceFilter : public CTransformFilter {
 public:
  CTransInPlaceFilter(IUnknown* outer, REFCLSID classId) : CTransformFilter(outer, classId) {}

  HRESULT DecideBufferSize(IMemAllocator& allocator, ALLOCATOR_PROPERTIES& properties) override;
  HRESULT CompleteConnect(PIN_DIRECTION direction, IPin* pin) override;

 protected:
  CTransformInputPin* CreateInputPin() override;
  CTransformOutputPin* CreateOutputPin() override;

  /// `sample` itself where it may be rewritten and sent on, otherwise a copy of it in a delivery buffer.
  HRESULT Writable(IMediaSample* sample, ComPtr<IMediaSample>& writable);

 private:
  HRESULT CopySample(IMediaSample& source, ComPtr<IMediaSample>& copy);
};

}  // namespace korva
