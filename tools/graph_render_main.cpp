#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "frame/interfaces.h"
#include "graph_kit.h"
#include "platform/wide_text.h"
#include "registered_effects.h"
#include "wav_file.h"

// Renders WAV files through the registered module in the system's filter graph, found as a host finds it: by its name
// in the list of filters.
namespace korva {
namespace {

constexpr const char* kUsage =
    "graph_render IN OUT EFFECT [--preset NAME|INDEX] [--state FILE] [EFFECT ...] [--block FRAMES] [--room FRAMES]\n"
    "             [--compare WAV [--places N]]    against another rendering; floats may differ by N last places\n"
    "graph_render --signal OUT u8|s16|s32|f32|f64 CHANNELS FRAMES    writes noise to render\n"
    "graph_render --batch FILE    runs a call for each line of FILE, arguments separated by tabs\n";

using Arguments = std::vector<std::string>;

int Complain(const std::string& what) {
  std::fprintf(stderr, "graph_render: %s\n", what.c_str());
  return 1;
}

/// A name as hosts show it and as the command writes it are the same but for case, spaces and hyphens.
std::string Plain(const std::string& name) {
  std::string plain;
  for (const char letter : name) {
    if (letter != ' ' && letter != '-') {
      plain.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(letter))));
    }
  }
  return plain;
}

ComPtr<IBaseFilter> FindEffect(const std::string& name) {
  for (const ComPtr<IMoniker>& moniker : RegisteredEffects()) {
    ComPtr<IBaseFilter> filter;
    const bool same = Plain(FriendlyName(*moniker.Get())) == "korva" + Plain(name);
    if (same && SUCCEEDED(moniker->BindToObject(nullptr, nullptr, IID_IBaseFilter, filter.PutVoid()))) return filter;
  }
  return {};
}

bool ApplyPreset(IBaseFilter* filter, const std::string& preset) {
  const auto presets = Query<IStaticFilterPreset>(filter);
  LONG count = 0;
  presets->GetPresetCount(&count);
  for (LONG i = 0; i < count; ++i) {
    WCHAR name[260] = {};
    presets->GetPresetName(i, name);
    if (preset == std::to_string(i) || preset == platform::ToUtf8(name)) return presets->SetPreset(i) == S_OK;
  }
  return false;
}

bool LoadState(IBaseFilter* filter, const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  ComPtr<IStream> stream;
  if (FAILED(::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()))) return false;
  stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
  stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
  return SUCCEEDED(Query<IPersistStream>(filter)->Load(stream.Get()));
}

int CompareWith(const std::string& path, const Stream& rendered, double places) {
  const auto other = ReadWav(path);
  if (!other) return Complain("cannot read " + path);
  const Difference difference = Compare(rendered, *other);
  if (!difference.sameShape) {
    return Complain(path + ": another format or length, " + std::to_string(difference.lengthGap) + " frames apart");
  }
  const std::size_t samples = rendered.frames() * rendered.format.channels;
  if (difference.samples == 0) {
    std::printf("same bytes: %zu samples\n", samples);
    return 0;
  }
  std::printf("%zu of %zu samples differ, by at most %.3g last places of full scale\n", difference.samples, samples,
              difference.lastPlaces);
  const bool within = rendered.format.formatTag == kTagFloat && difference.lastPlaces <= places;
  return within ? 0 : Complain(path + ": too far apart");
}

int WriteSignal(const Arguments& call) {
  if (call.size() != 5) return Complain(kUsage);
  const auto* const format = std::find_if(std::begin(kAllFormats), std::end(kAllFormats),
                                          [&](SampleFormat one) { return FormatName(one) == call[2]; });
  if (format == std::end(kAllFormats)) return Complain("no such format: " + call[2]);
  const auto channels = static_cast<std::uint16_t>(std::strtoul(call[3].c_str(), nullptr, 10));
  const std::size_t frames = std::strtoul(call[4].c_str(), nullptr, 10);
  const Stream noise = MakeNoise(*format, channels, frames, frames * 3 / 4);
  return WriteWav(call[1], noise) ? 0 : Complain("cannot write " + call[1]);
}

int Render(const Arguments& call) {
  if (call.size() < 3) return Complain(kUsage);
  auto stream = ReadWav(call[0]);
  if (!stream) return Complain("cannot read " + call[0] + " as one of the five formats");
  SourceOptions options{4096, 4 * stream->format.samplesPerSecond, 0};
  std::string compareWith;
  double places = 0;
  std::vector<ComPtr<IBaseFilter>> effects;
  std::vector<IBaseFilter*> chain;
  for (std::size_t i = 2; i < call.size(); ++i) {
    const std::string& word = call[i];
    if (word.rfind("--", 0) != 0) {
      effects.push_back(FindEffect(word));
      chain.push_back(effects.back().Get());
      if (chain.back() == nullptr) return Complain("no such filter is registered: " + word);
      continue;
    }
    if (++i == call.size()) return Complain(word + " needs a value");
    const std::string& value = call[i];
    const bool known = (word == "--preset" && !chain.empty() && ApplyPreset(chain.back(), value)) ||
                       (word == "--state" && !chain.empty() && LoadState(chain.back(), value)) ||
                       (word == "--block" && (options.blockFrames = std::strtoul(value.c_str(), nullptr, 10)) != 0) ||
                       (word == "--room" && (options.roomFrames = std::strtoul(value.c_str(), nullptr, 10)) != 0) ||
                       (word == "--compare" && !(compareWith = value).empty()) ||
                       (word == "--places" && (places = std::strtod(value.c_str(), nullptr)) >= 0);
    if (!known) return Complain("cannot take " + word + " " + value);
  }
  const FormatRecord format = stream->format;
  Graph graph;
  const ComPtr<StreamSource> source(new StreamSource(std::move(*stream), options));
  const ComPtr<WaitingSink> sink(new WaitingSink);
  if (FAILED(graph.Chain(*source.Get(), chain, *sink.Get(), false))) return Complain("the graph cannot be joined");
  if (FAILED(graph.Run()) || !sink->pin.WaitForEnd()) return Complain("the graph does not run to its end");
  const Stream rendered{format, sink->pin.received};
  graph.Stop();
  if (!WriteWav(call[1], rendered)) return Complain("cannot write " + call[1]);
  return compareWith.empty() ? 0 : CompareWith(compareWith, rendered, places);
}

int Run(const Arguments& call) {
  if (call.size() == 2 && call[0] == "--batch") {
    std::ifstream lines(call[1]);
    int worst = 0;
    for (std::string line; std::getline(lines, line);) {
      Arguments words;
      std::istringstream cut(line);
      for (std::string word; std::getline(cut, word, '\t');) words.push_back(word);
      if (words.size() > 2 && words[0] != "--signal") std::printf("%s: ", words[1].c_str());
      const int result = Run(words);
      if (result != 0) std::printf("failed\n");
      worst = std::max(worst, result);
      std::fflush(stdout);
    }
    return worst;
  }
  return !call.empty() && call[0] == "--signal" ? WriteSignal(call) : Render(call);
}

}  // namespace
}  // namespace korva

int main(int count, char** words) {
  ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  const int result = korva::Run({words + 1, words + count});
  ::CoUninitialize();
  return result;
}
