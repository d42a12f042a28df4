// The sanitizers bring an allocator of their own, which nobody may count in.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "audio/zeroed_buffer.h"
#include "frame/row_values.h"
#include "host/effect_table.h"
#include "host/parameter_text.h"
#include "support/test_graph.h"

// The linker sends every call for memory through here.
namespace {
// Volatile: the compiler holds that `malloc` touches nothing of ours.
thread_local volatile bool counts = false;
thread_local volatile int taken = 0;
}  // namespace
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* memory, std::size_t size);
void* __wrap_malloc(std::size_t size) {
  if (counts) taken = taken + 1;
  return __real_malloc(size);
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
  if (counts) taken = taken + 1;
  return __real_calloc(count, size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
  if (counts) taken = taken + 1;
  return __real_realloc(memory, size);
}
}
void* operator new(std::size_t size) {
  if (counts) taken = taken + 1;
  return std::malloc(size != 0 ? size : 1);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (counts) taken = taken + 1;
  return std::malloc(size != 0 ? size : 1);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace korva {
namespace {

/// Requests for memory while `run` runs on this thread.
template <class Run>
int Taken(Run&& run) {
  taken = 0;
  counts = true;
  run();
  counts = false;
  return taken;
}

TEST(Allocation, EveryWayToMemoryIsCounted) {
  static void* volatile kept = nullptr;
  EXPECT_GT(Taken([] { kept = std::malloc(1); }), 0);
  std::free(kept);
  EXPECT_GT(Taken([] { ::operator delete(::operator new(1)); }), 0);
  ZeroedBuffer<double> buffer;
  EXPECT_GT(Taken([&] { EXPECT_TRUE(buffer.Allocate(1)); }), 0);
}

/// Effects that build their lines anew for any whole block, and rows of the others that do so.
const std::set<std::string> kRebuilds = {"reverb", "pitch-shift", "time-stretch", "simple-delay delay",
                                         "multi-tap-delay mod-depth"};

bool Rebuilds(const EffectDescription& effect, const ParamDescriptor& row) {
  const std::string name = std::string(effect.name) + " " + row.name;
  return kRebuilds.count(effect.name) + kRebuilds.count(name) != 0 || name.starts_with("multi-tap-delay tap-delay-");
}

class StreamAllocation : public ::testing::TestWithParam<std::size_t> {};

// Whole buffers of a stream, by both roads, while every value that needs no new memory moves.
TEST_P(StreamAllocation, ARunningStreamTakesNoMemory) {
  const EffectRow& effect = EffectTable()[GetParam()];
  const EffectDescription& description = effect.description;
  const Outcome<EffectInstance> instance = CreateEffect(effect);
  ASSERT_TRUE(instance);
  auto* const filter = dynamic_cast<CTransformFilter*>(instance->filter.Get());
  ASSERT_NE(filter, nullptr);
  ParameterBlock block = ReadBlock(*instance);
  /// Moves a row to its other end and back.
  const auto whileMoving = [&](const auto& run) {
    EXPECT_EQ(Taken(run), 0) << description.name;
    for (const ParamDescriptor& row : description.rows) {
      if (Rebuilds(description, row)) continue;
      const double was = LoadDisplayValue(row, block.data());
      for (const double value : {static_cast<double>(row.info.mpdMaxValue), was}) {
        StoreDisplayValue(row, block.data(), value);
        instance->parameters->WriteBlock(block.data());
        EXPECT_EQ(Taken(run), 0) << description.name << " " << row.name;
      }
    }
  };
  for (const SampleFormat sampleFormat : kAllFormats) {
    const FormatRecord format = MakeFormat(sampleFormat, 2, 44100);
    const Bytes noise = NoiseBytes(format, 4096);
    TestGraph graph(*filter, format);
    ASSERT_EQ(graph.connected, S_OK);
    graph.sink->pin.keeps = false;
    ASSERT_EQ(graph.Start(), S_OK);
    for (int i = 0; i < 8; ++i) graph.Send(noise, {.discontinuity = i == 0});
    whileMoving([&] { graph.Send(noise); });
  }
  const ComPtr<IQvAudioTransformFloat> direct = Query<IQvAudioTransformFloat>(instance->filter.Get());
  if (!direct) return;
  std::vector<float> floats(2 * 512, 0.25F);
  ASSERT_EQ(direct->FloatStart(2, 44100), S_OK);
  direct->FloatProcess(floats.data(), 512, 0);
  whileMoving([&] { direct->FloatProcess(floats.data(), 512, 0); });
  direct->FloatStop();
}

INSTANTIATE_TEST_SUITE_P(Effects, StreamAllocation, ::testing::Range<std::size_t>(0, EffectTable().size()));

}  // namespace
}  // namespace korva

#endif
