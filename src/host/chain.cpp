#include "host/chain.h"

#include <array>
#include <cstdio>
#include <new>

namespace korva {
namespace {

ComPtr<IPin> FindPin(IBaseFilter& filter, PIN_DIRECTION direction) {
  ComPtr<IEnumPins> pins;
  if (FAILED(filter.EnumPins(pins.Put()))) return {};
  ComPtr<IPin> pin;
  while (pins->Next(1, pin.Put(), nullptr) == S_OK) {
    PIN_DIRECTION found = PINDIR_INPUT;
    if (SUCCEEDED(pin->QueryDirection(&found)) && found == direction) return pin;
  }
  return {};
}

std::string CodeText(HRESULT result) {
  switch (result) {
    case E_OUTOFMEMORY:
      return "out of memory";
    case VFW_E_TYPE_NOT_ACCEPTED:
    case VFW_E_NO_ACCEPTABLE_TYPES:
      return "it does not take this sample format";
    default:
      break;
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "error 0x%08X", static_cast<unsigned>(result));
  return text.data();
}

/// Stops the filters and takes the connections down whichever way the run ends: a connection holds a reference to the
/// filter at its other end.
class Teardown {
 public:
  explicit Teardown(const std::vector<ChainLink>& links) : links_(links) {}
  Teardown(const Teardown&) = delete;
  Teardown& operator=(const Teardown&) = delete;
  ~Teardown() {
    for (const ChainLink& link : links_) link.filter->Stop();
    for (const ChainLink& link : links_) {
      for (const PIN_DIRECTION direction : {PINDIR_INPUT, PINDIR_OUTPUT}) {
        if (const ComPtr<IPin> pin = FindPin(*link.filter.Get(), direction)) pin->Disconnect();
      }
    }
  }

 private:
  const std::vector<ChainLink>& links_;
};

MaybeExit Connect(const ChainLink& from, const ChainLink& to, const AM_MEDIA_TYPE& type) {
  const ComPtr<IPin> output = FindPin(*from.filter.Get(), PINDIR_OUTPUT);
  const ComPtr<IPin> input = FindPin(*to.filter.Get(), PINDIR_INPUT);
  const HRESULT result = output && input ? output->Connect(input.Get(), &type) : E_OUTOFMEMORY;
  if (SUCCEEDED(result)) return std::nullopt;
  return Failed("cannot connect " + from.name + " to " + to.name + ": " + CodeText(result));
}

}  // namespace

Outcome<ChainResult> RunChain(SampleInput& input, SampleOutput& output, const FormatRecord& format, StreamCut cut,
                              const std::vector<ChainLink>& effects, bool withTail,
                              const std::function<void(std::int64_t)>& progress) {
  auto* const source = new (std::nothrow) FileSource(input, format, cut);
  const ComPtr<IBaseFilter> sourceFilter(source);
  auto* const sink = new (std::nothrow) FileSink(output, format);
  const ComPtr<IBaseFilter> sinkFilter(sink);
  CMediaType type;
  if (source == nullptr || sink == nullptr || FAILED(type.SetWave(format))) return Failed("out of memory");

  std::vector<ChainLink> links{{"the input", sourceFilter}};
  links.insert(links.end(), effects.begin(), effects.end());
  links.push_back({"the output", sinkFilter});
  const Teardown teardown(links);
  for (std::size_t i = 0; i + 1 < links.size(); ++i) {
    if (const MaybeExit check = Connect(links[i], links[i + 1], type.get())) return *check;
  }
  // From the sink upwards, so that nobody sends to a filter that is still stopped.
  for (auto link = links.rbegin(); link != links.rend(); ++link) {
    if (const HRESULT result = link->filter->Run(0); FAILED(result)) {
      return Failed("cannot start " + link->name + ": " + CodeText(result));
    }
  }

  MaybeExit check = source->Push(progress);
  HRESULT ended = S_OK;
  if (!check && withTail) ended = source->PushEnd();
  // The sink knows best why a stream that it stopped came to nothing.
  if (sink->failure()) return *sink->failure();
  if (FAILED(source->refusal())) return Failed("the effects failed: " + CodeText(source->refusal()));
  if (check) return *check;
  if (FAILED(ended)) return Failed("the effects failed at the end: " + CodeText(ended));
  if (check = sink->Finish(); check) return *check;
  return ChainResult{source->framesSent(), sink->frames(), sink->levels()};
}

}  // namespace korva
