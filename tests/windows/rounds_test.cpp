#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>

#include "graph_kit.h"
#include "module/class_table.h"
#include "registered_module.h"
#include "wav_file.h"

namespace korva {
namespace {

constexpr CLSID kWaveParser{0xd51bd5a1, 0x7548, 0x11cf, {0xa5, 0x20, 0x00, 0x80, 0xc7, 0x7e, 0xf5, 0x8a}};
constexpr CLSID kSoundRenderer{0x79376820, 0x07d0, 0x11cf, {0xa2, 0x4d, 0x00, 0x20, 0xaf, 0xd7, 0x97, 0x67}};
constexpr CLSID kNullRenderer{0xc1f400a4, 0x3f08, 0x11d3, {0x9f, 0x0b, 0x00, 0x60, 0x08, 0x03, 0x9e, 0x37}};

/// The first pin of a direction that nothing is connected to.
ComPtr<IPin> FreePin(IBaseFilter* filter, PIN_DIRECTION wanted) {
  ComPtr<IEnumPins> pins;
  if (filter == nullptr || FAILED(filter->EnumPins(pins.Put()))) return {};
  for (ComPtr<IPin> pin, peer; pins->Next(1, pin.Put(), nullptr) == S_OK;) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    pin->QueryDirection(&direction);
    if (direction == wanted && FAILED(pin->ConnectedTo(peer.Put()))) return pin;
  }
  return {};
}

/// A system's renderer posts completion and asks upstream, still inside the end of stream, while the host, which has
/// heard it, stops the graph. A wait without end cannot be left, so it ends the program.
template <class Call>
HRESULT Within(std::chrono::seconds patience, const char* what, Call&& call) {
  auto outcome = std::async(std::launch::async, std::forward<Call>(call));
  if (outcome.wait_for(patience) == std::future_status::ready) return outcome.get();
  std::printf("%s hangs\n", what);
  std::fflush(stdout);
  ::TerminateProcess(::GetCurrentProcess(), 1);
  return E_FAIL;
}

HRESULT Join(Graph& graph, const std::vector<IBaseFilter*>& chain) {
  for (std::size_t i = 1; i < chain.size(); ++i) {
    const ComPtr<IPin> from = FreePin(chain[i - 1], PINDIR_OUTPUT), to = FreePin(chain[i], PINDIR_INPUT);
    if (!from || !to) return E_FAIL;
    if (const HRESULT result = graph->ConnectDirect(from.Get(), to.Get(), nullptr); FAILED(result)) return result;
  }
  return S_OK;
}

// A few rounds with a source of our own and a renderer of the system. KORVA_ROUNDS asks for more, and then for the
// system's source, parser and sound renderer, which need codecs and a sound device.
TEST(Rounds, RunCompleteAndStopInFrontOfTheSystemsRenderer) {
  const char* const asked = std::getenv("KORVA_ROUNDS");
  const int rounds = asked != nullptr ? std::atoi(asked) : 20;
  const std::string wav = (std::filesystem::temp_directory_path() / "korva-rounds.wav").string();
  const Stream noise = MakeNoise(SampleFormat::kPcm16, 2, 2205);
  ASSERT_TRUE(WriteWav(wav, noise));
  for (const ClassRow& row : ClassTable()) {
    if (!row.setup) continue;
    Graph graph;
    ComPtr<IBaseFilter> own(new StreamSource(noise)), file, parser, renderer;
    std::vector<IBaseFilter*> chain;
    const auto effect = CreateRegistered<IBaseFilter>(row.classId);
    if (asked != nullptr) {
      parser = CreateRegistered<IBaseFilter>(kWaveParser);
      renderer = CreateRegistered<IBaseFilter>(kSoundRenderer);
      ASSERT_EQ(graph->AddSourceFilter(std::filesystem::path(wav).c_str(), L"", file.Put()), S_OK);
      chain = {file.Get(), parser.Get(), effect.Get(), renderer.Get()};
    } else {
      renderer = CreateRegistered<IBaseFilter>(kNullRenderer);
      chain = {own.Get(), effect.Get(), renderer.Get()};
    }
    for (IBaseFilter* const filter : chain) {
      ASSERT_NE(filter, nullptr) << "the system lacks a filter";
      if (filter == file.Get()) continue;
      ASSERT_TRUE(SUCCEEDED(graph.Add(filter)));
    }
    ASSERT_EQ(Join(graph, chain), S_OK);
    const auto seeking = Query<IMediaSeeking>(graph.operator->());
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < rounds; ++i) {
      LONGLONG begin = 0;
      if (asked != nullptr) seeking->SetPositions(&begin, AM_SEEKING_AbsolutePositioning, nullptr, 0);
      ASSERT_EQ(Within(std::chrono::seconds(20), "run", [&] { return graph.Run(); }), S_OK) << i;
      ASSERT_TRUE(graph.SaysComplete()) << i;
      ASSERT_EQ(Within(std::chrono::seconds(20), "stop", [&] { return graph.Stop(); }), S_OK) << i;
    }
    if (asked != nullptr) {
      const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
      std::printf("%d rounds of class %08lx in %.0f s\n", rounds, row.classId.Data1, took.count());
      std::fflush(stdout);
    }
  }
  std::filesystem::remove(wav);
}

}  // namespace
}  // namespace korva
