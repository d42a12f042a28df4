#include "streaming/allocator.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "platform/services.h"
#include "streaming/com_ptr.h"
#include "streaming/media_type.h"

namespace korva {
namespace {

ComPtr<IMemAllocator> MakeAllocator(ALLOCATOR_PROPERTIES request = {2, 100, 16, 0}) {
  ComPtr<IMemAllocator> allocator;
  EXPECT_EQ(CreateMemoryAllocator(allocator.Put()), S_OK);
  ALLOCATOR_PROPERTIES actual{};
  EXPECT_EQ(allocator->SetProperties(&request, &actual), S_OK);
  return allocator;
}

ComPtr<IMediaSample> Take(IMemAllocator& allocator, DWORD flags = 0) {
  ComPtr<IMediaSample> sample;
  allocator.GetBuffer(sample.Put(), nullptr, nullptr, flags);
  return sample;
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
    ComPtr<IMemAllocator> allocator;
    ASSERT_EQ(CreateMemoryAllocator(allocator.Put()), S_OK);
    EXPECT_EQ(allocator->Commit(), VFW_E_SIZENOTSET);
    ALLOCATOR_PROPERTIES request = row.request, actual{};
    EXPECT_EQ(allocator->SetProperties(&request, &actual), row.expected)
        << row.request.cBuffers << ' ' << row.request.cbBuffer << ' ' << row.request.cbAlign;
    if (row.expected != S_OK) continue;
    EXPECT_EQ(allocator->Commit(), S_OK);
    EXPECT_EQ(allocator->SetProperties(&request, &actual), VFW_E_ALREADY_COMMITTED);
  }
}

TEST(Allocator, BuffersAreAlignedAfterTheirPrefixAndDoNotOverlap) {
  for (const LONG align : {1, 16, 4096}) {
    for (const LONG prefix : {0, 1, 100}) {
      const auto allocator = MakeAllocator({3, 333, align, prefix});
      ASSERT_EQ(allocator->Commit(), S_OK);
      ComPtr<IMediaSample> samples[3];
      BYTE* bytes[3] = {};
      for (int i = 0; i < 3; ++i) {
        samples[i] = Take(*allocator.Get());
        ASSERT_TRUE(samples[i]);
        EXPECT_EQ(samples[i]->GetSize(), 333);
        ASSERT_EQ(samples[i]->GetPointer(&bytes[i]), S_OK);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes[i] - prefix) % static_cast<std::uintptr_t>(align), 0U);
        std::memset(bytes[i] - prefix, i + 1, static_cast<std::size_t>(prefix) + 333);
      }
      for (int i = 0; i < 3; ++i) EXPECT_EQ(bytes[i][-prefix] + bytes[i][332], 2 * (i + 1));
    }
  }
}

TEST(Allocator, LendsOnlyWhatItHasAndOnlyWhileCommitted) {
  const auto allocator = MakeAllocator();
  ComPtr<IMediaSample> sample;
  EXPECT_EQ(allocator->GetBuffer(sample.Put(), nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
  ASSERT_EQ(allocator->Commit(), S_OK);
  const auto first = Take(*allocator.Get());
  auto second = Take(*allocator.Get());
  ASSERT_TRUE(first && second);
  EXPECT_EQ(allocator->GetBuffer(sample.Put(), nullptr, nullptr, AM_GBF_NOWAIT), VFW_E_TIMEOUT);
  second.Reset();
  REFERENCE_TIME start = 5, stop = 9;
  ASSERT_EQ(allocator->GetBuffer(sample.Put(), &start, &stop, AM_GBF_NOWAIT), S_OK);
  start = stop = 0;
  EXPECT_EQ(sample->GetTime(&start, &stop), S_OK);
  EXPECT_EQ(start, 5);
  EXPECT_EQ(stop, 9);
}

TEST(Allocator, BuffersThatAreOutAtADecommitOutliveIt) {
  auto allocator = MakeAllocator();
  ALLOCATOR_PROPERTIES larger{4, 200, 1, 0}, actual{};
  ASSERT_EQ(allocator->Commit(), S_OK);
  auto sample = Take(*allocator.Get());
  const auto fill = [&sample](std::size_t size) {
    BYTE* bytes = nullptr;
    sample->GetPointer(&bytes);
    std::memset(bytes, 1, size);
  };
  ASSERT_EQ(allocator->Decommit(), S_OK);
  fill(100);
  EXPECT_EQ(allocator->SetProperties(&larger, &actual), VFW_E_BUFFERS_OUTSTANDING);
  ASSERT_EQ(allocator->Commit(), S_OK);
  EXPECT_TRUE(Take(*allocator.Get(), AM_GBF_NOWAIT));
  EXPECT_EQ(allocator->Decommit(), S_OK);
  sample.Reset();
  EXPECT_EQ(allocator->SetProperties(&larger, &actual), S_OK);
  ASSERT_EQ(allocator->Commit(), S_OK);
  sample = Take(*allocator.Get());
  EXPECT_EQ(sample->GetSize(), 200);
  // The last sample out keeps an allocator that nobody else holds.
  allocator->Decommit();
  allocator.Reset();
  fill(200);
}

TEST(Allocator, AWaitingThreadIsWokenByAReturnAndByADecommit) {
  for (const bool decommit : {false, true}) {
    const auto allocator = MakeAllocator({1, 100, 1, 0});
    ASSERT_EQ(allocator->Commit(), S_OK);
    auto held = Take(*allocator.Get());
    HRESULT result = E_UNEXPECTED;
    std::atomic<bool> waiting{false};
    std::thread thread([&] {
      ComPtr<IMediaSample> sample;
      waiting = true;
      result = allocator->GetBuffer(sample.Put(), nullptr, nullptr, 0);
    });
    while (!waiting) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (decommit) {
      allocator->Decommit();
    } else {
      held.Reset();
    }
    thread.join();
    EXPECT_EQ(result, decommit ? VFW_E_NOT_COMMITTED : S_OK);
  }
}

TEST(MediaSample, KeepsTimesFlagsAndTypeUntilItGoesBack) {
  const auto allocator = MakeAllocator({1, 100, 1, 0});
  ASSERT_EQ(allocator->Commit(), S_OK);
  auto sample = Take(*allocator.Get());
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
  sample = Take(*allocator.Get());
  EXPECT_EQ(sample->GetMediaType(&carried), S_FALSE);
  EXPECT_EQ(sample->IsDiscontinuity(), S_FALSE);
  EXPECT_EQ(sample->GetActualDataLength(), 100);
  EXPECT_EQ(sample->GetMediaTime(&start, &stop), VFW_E_MEDIA_TIME_NOT_SET);
}

TEST(MediaSample, PropertiesMayBeGivenInPartAndNeverMoveTheBuffer) {
  const auto allocator = MakeAllocator();
  ASSERT_EQ(allocator->Commit(), S_OK);
  const auto sample = Query<IMediaSample2>(Take(*allocator.Get()).Get());
  ASSERT_TRUE(sample);
  AM_SAMPLE2_PROPERTIES all{}, part{};
  ASSERT_EQ(sample->GetProperties(sizeof all, reinterpret_cast<BYTE*>(&all)), S_OK);
  EXPECT_EQ(all.cbData, sizeof all);
  EXPECT_EQ(all.cbBuffer, 100);

  part.cbData = offsetof(AM_SAMPLE2_PROPERTIES, tStart);
  part.dwSampleFlags = AM_SAMPLE_DATADISCONTINUITY;
  part.lActual = 30;
  EXPECT_EQ(sample->SetProperties(part.cbData, reinterpret_cast<BYTE*>(&part)), S_OK);
  EXPECT_EQ(sample->GetActualDataLength(), 30);
  EXPECT_EQ(sample->IsDiscontinuity(), S_OK);
  part.lActual = 101;
  EXPECT_EQ(sample->SetProperties(part.cbData, reinterpret_cast<BYTE*>(&part)), VFW_E_BUFFER_OVERFLOW);
  EXPECT_EQ(sample->SetProperties(2, reinterpret_cast<BYTE*>(&part)), E_INVALIDARG);
  BYTE elsewhere = 0;
  all.pbBuffer = &elsewhere;
  EXPECT_EQ(sample->SetProperties(sizeof all, reinterpret_cast<BYTE*>(&all)), E_INVALIDARG);
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
