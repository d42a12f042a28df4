// Format blocks and media types: a byte for what surrounds the block, the rate that is streamed, then the block.
#include <cstring>

#include "frame/in_place_filter.h"
#include "frame/input_type.h"
#include "input.h"
#include "live/effect_kinds.h"
#include "pitchtime/stretch_filter.h"
#include "support/test_graph.h"

namespace korva {
namespace {

/// What the rule says of a block, and what it means.
void ReadBlock(const Bytes& block) {
  const bool accepted = IsAcceptedFormat(block.data(), block.size());
  FormatRecord record;
  QvAudio_CopyWfExtToWfx(block.data(), block.size(), record);
  Require(record.extraSize == 0, "the plain form has no extra bytes");
  if (!accepted) return;
  const auto format = SampleFormatOf(record);
  Require(format.has_value() && record.channels >= 1 && record.channels <= kMaxChannels, "what is accepted can be run");
  const FormatRecord plain = MakeFormat(*format, record.channels, record.samplesPerSecond);
  NormaliseFormat(record);
  Require(std::memcmp(&plain, &record, sizeof plain) == 0, "the plain form says the same as the block");
  Require(IsAcceptedFormat(&plain, sizeof plain), "the plain form is accepted too");
}

/// A stream of the type through one effect.
void Stream(const AM_MEDIA_TYPE& type, const EffectKind& kind) {
  const EffectInstance effect = kind.create();
  CTransformFilter& filter = effect.inPlace != nullptr ? static_cast<CTransformFilter&>(*effect.inPlace)
                                                       : static_cast<CTransformFilter&>(*effect.stretch);
  Owned<SourceFilter> source;
  const HRESULT connected = source->pin.Connect(filter.GetPin(0), &type);
  // One that leaves something open is no type yet, and the source has none of its own.
  const bool expected = !IsPartialMediaType(type) && CheckAudioType(type) == S_OK;
  Require(SUCCEEDED(connected) == expected, "effects connect to what the rule accepts, and only so");
  source->pin.Disconnect();
  filter.GetPin(0)->Disconnect();
  if (FAILED(connected)) return;
  const FormatRecord format = PlainFormatOf(type);
  // The stretch effects refuse buffers of a few bytes.
  TestGraph graph(filter, format, {1000});
  Require(graph.connected == S_OK, "the plain form of an accepted type connects");
  // Little memory may refuse a rate that nothing runs at, and nothing else.
  HRESULT result = graph.Start();
  if (SUCCEEDED(result)) result = graph.Send(Bytes(std::size_t{format.blockAlign} * 50, 0x41));
  Require(SUCCEEDED(result) || result == E_OUTOFMEMORY, "an accepted type streams");
}

}  // namespace
}  // namespace korva

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace korva;
  Input input(data, size);
  const unsigned flags = input.Take<std::uint8_t>();
  const EffectKind& kind = EffectKinds()[input.TakeUpTo(kEffectCount - 1)];
  Bytes block = input.Rest();
  ReadBlock(block);
  AM_MEDIA_TYPE type{};
  type.majortype = (flags & 1) != 0 ? GUID_NULL : MEDIATYPE_Audio;
  type.subtype = (flags & 2) != 0 ? MEDIASUBTYPE_PCM : MEDIASUBTYPE_IEEE_FLOAT;
  type.formattype = (flags & 4) != 0 ? GUID_NULL : FORMAT_WaveFormatEx;
  type.bTemporalCompression = (flags & 8) != 0 ? TRUE : FALSE;
  type.cbFormat = static_cast<ULONG>(block.size());
  // A block that claims a length and is not there.
  type.pbFormat = (flags & 16) != 0 ? nullptr : block.data();
  CMediaType copy, empty;
  Require(copy.Set(type) == S_OK, "any type can be copied");
  const bool whole = type.cbFormat == 0 || type.pbFormat != nullptr;
  Require(SameMediaType(type, type) == whole && SameMediaType(copy.get(), type) == whole, "a copy is the same");
  Require(MatchesMediaType(type, empty.get()), "every type meets one that leaves all open");
  Stream(type, kind);
  return 0;
}
