#pragma once

#include "platform/media_position.h"
#include "streaming/com_ptr.h"
#include "streaming/media_type.h"

namespace korva {

/// Asks the output pin of a transform, and its filter, all that a renderer downstream may ask from inside a call.
/// Whether the filter could be asked at all.
inline bool AskUpstream(IPin& output) {
  ComPtr<IPin> peer;
  output.ConnectedTo(peer.Put());
  CMediaType type;
  output.ConnectionMediaType(&type.get());
  if (!type.empty()) output.QueryAccept(&type.get());
  ComPtr<IEnumMediaTypes> types;
  AM_MEDIA_TYPE* proposed = nullptr;
  if (output.EnumMediaTypes(types.Put()) == S_OK && types->Next(1, &proposed, nullptr) == S_OK) {
    DeleteMediaType(proposed);
  }
  LONGLONG time = 0;
  if (const auto seeking = Query<IMediaSeeking>(&output); seeking) {
    DWORD capabilities = 0;
    seeking->GetCapabilities(&capabilities);
    seeking->GetStopPosition(&time);
  }
  REFTIME seconds = 0;
  if (const auto position = Query<IMediaPosition>(&output); position) position->get_Duration(&seconds);
  if (const auto quality = Query<IQualityControl>(&output); quality) quality->Notify(nullptr, Quality{});

  PIN_INFO pin{};
  if (FAILED(output.QueryPinInfo(&pin))) return false;
  ComPtr<IBaseFilter> filter;
  *filter.Put() = pin.pFilter;
  FILTER_INFO info{};
  filter->QueryFilterInfo(&info);
  if (info.pGraph != nullptr) info.pGraph->Release();
  FILTER_STATE state = State_Stopped;
  filter->GetState(0, &state);
  ComPtr<IReferenceClock> clock;
  filter->GetSyncSource(clock.Put());
  ComPtr<IPin> in;
  if (FAILED(filter->FindPin(KORVA_WTEXT("In"), in.Put()))) return false;
  in->ConnectedTo(peer.Put());
  const auto input = Query<IMemInputPin>(in.Get());
  ComPtr<IMemAllocator> allocator;
  ALLOCATOR_PROPERTIES wanted{};
  return input && input->GetAllocator(allocator.Put()) == S_OK && FAILED(input->NotifyAllocator(nullptr, FALSE)) &&
         input->GetAllocatorRequirements(&wanted) != E_POINTER;
}

}  // namespace korva
