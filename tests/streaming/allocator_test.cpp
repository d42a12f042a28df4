#include "streaming/allocator.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <future>

#include "streaming/com_ptr.h"
#include "streaming/media_type.h"

namespace korva {
namespace {

ComPtr<IMemAllocator> MakeAllocator() {
  ComPtr<IMemAllocator> allocator;
  EXPECT_EQ(CreateMemoryAllocator(allocator.Put()), S_OK);
  return allocator;
}

HRESULT Propose(const ComPtr<IMemAllocator>& allocator, ALLOCATOR_PROPERTIES request) {
  ALLOCATOR_PROPERTIES actual{};
  return allocator->SetProperties(&request, &actual);
}

/// One whose buffers are there.
ComPtr<IMemAllocator> Committed(const ALLOCATOR_PROPERTIES& request) {
  auto allocator = MakeAllocator();
  EXPECT_EQ(Propose(allocator, request), S_OK);
  EXPECT_EQ(allocator->Commit(), S_OK);
  return allocator;
}

HRESULT Take(const ComPtr<IMemAllocator>& allocator, ComPtr<IMediaSample>& sample, DWORD flags = AM_GBF_NOWAIT) {
  return allocator->GetBuffer(sample.Put(), nullptr, nullptr, flags);
}

BYTE* BytesOf(const ComPtr<IMediaSample>& sample) {
  BYTE* bytes = nullptr;
  EXPECT_EQ(sample->GetPointer(&bytes), S_OK);
  return bytes;
}

TEST(Allocator, RefusesPropertiesThatNoBufferCanHave) {
  const struct {
    ALLOCATOR_PROPERTIES request;
    HRESULT expected;
  } rows[] = {
      {{1, 0, 1, 0}, S_OK},
      {{3, 4096, 64, 12}, S_OK},
      {{0, 100, 1, 0}, E_INVALIDARG},
      {{1, -100, 1, 0}, E_INVALIDARG},
      {{1, 100, 1, -1}, E_INVALIDARG},
      {{1, 100, 0, 0}, VFW_E_BADALIGN},
      {{1, 100, 3, 0}, VFW_E_BADALIGN},
      {{1, 100, -16, 0}, VFW_E_BADALIGN},
  };
  for (const auto& row : rows) {
    const auto allocator = MakeAllocator();
    EXPECT_EQ(allocator->Commit(), VFW_E_SIZENOTSET);
    EXPECT_EQ(Propose(allocator, row.request), row.expected)
        << row.request.cBuffers << ' ' << row.request.cbBuffer << ' ' << row.request.cbAlign;
    if (row.expected != S_OK) continue;
    EXPECT_EQ(allocator->Commit(), S_OK);
    EXPECT_EQ(Propose(allocator, row.request), VFW_E_ALREADY_COMMITTED);
  }
}

TEST(Allocator, BuffersAreAlignedAfterTheirPrefixAndDoNotOverlap) {
  for (const LONG align : {1, 16, 4096}) {
    for (const LONG prefix : {0, 1, 100}) {
      const auto allocator = Committed({3, 333, align, prefix});
      ComPtr<IMediaSample> samples[3];
      for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(Take(allocator, samples[i]), S_OK);
        BYTE* const start = BytesOf(samples[i]) - prefix;
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(start) % static_cast<std::uintptr_t>(align), 0U);
        std::memset(start, i + 1, static_cast<std::size_t>(prefix) + 333);
      }
      for (int i = 0; i < 3; ++i) {
        const BYTE* const bytes = BytesOf(samples[i]);
        EXPECT_EQ(bytes[-prefix] + bytes[332], 2 * (i + 1));
      }
    }
  }
}

TEST(Allocator, LendsOnlyWhatItHasAndOnlyWhileCommitted) {
  const auto allocator = MakeAllocator();
  ComPtr<IMediaSample> first, second, third;
  EXPECT_EQ(Propose(allocator, {2, 100, 16, 0}), S_OK);
  EXPECT_EQ(Take(allocator, first), VFW_E_NOT_COMMITTED);
  ASSERT_EQ(allocator->Commit(), S_OK);
  EXPECT_EQ(Take(allocator, first), S_OK);
  EXPECT_EQ(Take(allocator, second), S_OK);
  EXPECT_EQ(Take(allocator, third), VFW_E_TIMEOUT);
  second.Reset();
  REFERENCE_TIME start = 5, stop = 9;
  ASSERT_EQ(allocator->GetBuffer(third.Put(), &start, &stop, 0), S_OK);
  start = stop = 0;
  EXPECT_EQ(third->GetTime(&start, &stop), S_OK);
  EXPECT_TRUE(start == 5 && stop == 9);
}

TEST(Allocator, BuffersThatAreOutAtADecommitOutliveIt) {
  auto allocator = Committed({2, 100, 16, 0});
  constexpr ALLOCATOR_PROPERTIES kLarger{4, 200, 1, 0};
  ComPtr<IMediaSample> sample, other;
  ASSERT_EQ(Take(allocator, sample), S_OK);
  ASSERT_EQ(allocator->Decommit(), S_OK);
  std::memset(BytesOf(sample), 1, 100);
  EXPECT_EQ(Propose(allocator, kLarger), VFW_E_BUFFERS_OUTSTANDING);
  ASSERT_EQ(allocator->Commit(), S_OK);
  EXPECT_EQ(Take(allocator, other), S_OK);
  other.Reset();
  EXPECT_EQ(allocator->Decommit(), S_OK);
  sample.Reset();
  EXPECT_EQ(Propose(allocator, kLarger), S_OK);
  ASSERT_EQ(allocator->Commit(), S_OK);
  ASSERT_EQ(Take(allocator, sample), S_OK);
  EXPECT_EQ(sample->GetSize(), 200);
  // The last sample out keeps an allocator that nobody else holds.
  allocator->Decommit();
  allocator.Reset();
  std::memset(BytesOf(sample), 1, 200);
}

TEST(Allocator, AWaitingThreadIsWokenByAReturnAndByADecommit) {
  for (const bool decommit : {false, true}) {
    const auto allocator = Committed({1, 100, 1, 0});
    ComPtr<IMediaSample> held, waitedFor;
    ASSERT_EQ(Take(allocator, held), S_OK);
    auto result = std::async(std::launch::async, [&] { return Take(allocator, waitedFor, 0); });
    EXPECT_EQ(result.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    decommit ? void(allocator->Decommit()) : held.Reset();
    EXPECT_EQ(result.get(), decommit ? VFW_E_NOT_COMMITTED : S_OK);
  }
}

TEST(MediaSample, KeepsTimesFlagsAndTypeUntilItGoesBack) {
  const auto allocator = Committed({1, 100, 1, 0});
  ComPtr<IMediaSample> sample;
  ASSERT_EQ(Take(allocator, sample), S_OK);
  REFERENCE_TIME start = 10, stop = 20;
  EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
  EXPECT_EQ(sample->SetTime(&start, nullptr), S_OK);
  EXPECT_EQ(sample->GetTime(&start, &stop), VFW_S_NO_STOP_TIME);
  EXPECT_EQ(stop, 11);
  EXPECT_EQ(sample->SetTime(nullptr, &stop), E_INVALIDARG);
  EXPECT_EQ(sample->SetTime(nullptr, nullptr), S_OK);
  EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
  EXPECT_EQ(sample->SetMediaTime(&stop, &start), E_INVALIDARG);
  EXPECT_EQ(sample->SetMediaTime(&start, nullptr), E_POINTER);
  EXPECT_EQ(sample->SetMediaTime(&start, &stop), S_OK);
  for (const LONG length : {-1, 101}) EXPECT_EQ(sample->SetActualDataLength(length), VFW_E_BUFFER_OVERFLOW);
  for (const LONG length : {100, 40}) EXPECT_EQ(sample->SetActualDataLength(length), S_OK);
  sample->SetDiscontinuity(TRUE);
  CMediaType type;
  type.SetWave(MakeFormat(SampleFormat::kPcm16, 2, 44100));
  EXPECT_EQ(sample->SetMediaType(&type.get()), S_OK);
  AM_MEDIA_TYPE* carried = nullptr;
  ASSERT_EQ(sample->GetMediaType(&carried), S_OK);
  EXPECT_TRUE(SameMediaType(*carried, type.get()));
  DeleteMediaType(carried);

  sample.Reset();
  ASSERT_EQ(Take(allocator, sample), S_OK);
  EXPECT_EQ(sample->GetMediaType(&carried), S_FALSE);
  EXPECT_EQ(sample->IsDiscontinuity(), S_FALSE);
  EXPECT_EQ(sample->GetActualDataLength(), 100);
  EXPECT_EQ(sample->GetMediaTime(&start, &stop), VFW_E_MEDIA_TIME_NOT_SET);
}

TEST(MediaSample, PropertiesMayBeGivenInPartAndNeverMoveTheBuffer) {
  const auto allocator = Committed({1, 100, 1, 0});
  ComPtr<IMediaSample> taken;
  ASSERT_EQ(Take(allocator, taken), S_OK);
  const auto sample = Query<IMediaSample2>(taken.Get());
  AM_SAMPLE2_PROPERTIES all{}, part{};
  ASSERT_EQ(sample->GetProperties(sizeof all, reinterpret_cast<BYTE*>(&all)), S_OK);
  const auto set = [&](DWORD bytes, const AM_SAMPLE2_PROPERTIES& properties) {
    return sample->SetProperties(bytes, reinterpret_cast<const BYTE*>(&properties));
  };
  // What follows the length that a caller knows of keeps what it holds.
  part.cbData = offsetof(AM_SAMPLE2_PROPERTIES, tStart);
  part.dwSampleFlags = AM_SAMPLE_DATADISCONTINUITY;
  part.lActual = 30;
  for (const DWORD bytes : {part.cbData, static_cast<DWORD>(sizeof part)}) EXPECT_EQ(set(bytes, part), S_OK);
  EXPECT_EQ(sample->GetActualDataLength(), 30);
  EXPECT_EQ(sample->IsDiscontinuity(), S_OK);
  part.lActual = 101;
  EXPECT_EQ(set(part.cbData, part), VFW_E_BUFFER_OVERFLOW);
  EXPECT_EQ(set(2, part), E_INVALIDARG);
  BYTE elsewhere = 0;
  all.pbBuffer = &elsewhere;
  EXPECT_EQ(set(sizeof all, all), E_INVALIDARG);
}

TEST(MediaType, BlocksThatAreMissingMatchNothingAndCrashNothing) {
  CMediaType type, copy;
  type.SetWave(MakeFormat(SampleFormat::kPcm16, 2, 44100));
  AM_MEDIA_TYPE hollow = type.get();
  hollow.pbFormat = nullptr;
  EXPECT_FALSE(SameMediaType(type.get(), hollow));
  EXPECT_FALSE(MatchesMediaType(type.get(), hollow));
  ASSERT_EQ(copy.Set(hollow), S_OK);
  EXPECT_EQ(copy->cbFormat, 0U);
  EXPECT_TRUE(MatchesMediaType(type.get(), AM_MEDIA_TYPE{}));
}

}  // namespace
}  // namespace korva
