#include "frame/record.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "frame_rig.h"
#include "platform/services.h"
#include "platform/wide_text.h"
#include "qvkit/language.h"
#include "support/memory_stream.h"
#include "support/seed.h"

namespace korva {
namespace {

constexpr GUID kNewest{0x039be819, 0xe0bb, 0x40f6, {0x9f, 0x59, 0x0e, 0xe9, 0x35, 0xff, 0x0d, 0x74}};
constexpr GUID kMiddle{0xc9a9fec7, 0x8a9b, 0x4cfe, {0xae, 0xbc, 0x92, 0xea, 0x0e, 0x50, 0x52, 0x19}};
constexpr GUID kOldest{0x28d9f1e3, 0x6ecc, 0x11d0, {0xae, 0xbc, 0x00, 0xa0, 0xc9, 0x05, 0x39, 0x12}};
constexpr ChorusParams kBlock{-10, -20, -30, 2, 40, 1, 500, 6000, 70, 1, 8000, 1, 1, 9, 10000, 1};

std::vector<std::uint8_t> Record(std::uint32_t size, const GUID& id, const ChorusParams& block, std::size_t body) {
  std::vector<std::uint8_t> bytes(20 + body);
  std::memcpy(&bytes[0], &size, 4);
  std::memcpy(&bytes[4], &id, 16);
  std::memcpy(&bytes[20], &block, body);
  return bytes;
}

ChorusParams ParamsOf(CQvChorus& chorus) {
  ChorusParams block{};
  chorus.GetParams(&block);
  return block;
}

bool Same(const ChorusParams& left, const ChorusParams& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

TEST(Record, LoadsEveryFormAndRefusesTheRestWhole) {
  ChorusParams untilBypass = kBlock, beforeBypass = kBlock;
  untilBypass.modPeriodNote = beforeBypass.modPeriodNote = 18;
  untilBypass.modPeriodMultiplier = beforeBypass.modPeriodMultiplier = 1000;
  untilBypass.tempoSync = beforeBypass.tempoSync = 0;
  beforeBypass.bypass = 0;
  const struct {
    const char* what;
    std::uint32_t size;
    GUID id;
    std::size_t body;
    const ChorusParams* expected;  // null: refused
  } rows[] = {
      {"newest", 84, kNewest, 64, &kBlock},           {"middle", 72, kMiddle, 52, &untilBypass},
      {"oldest", 68, kOldest, 48, &beforeBypass},     {"newest, old size", 72, kNewest, 64, nullptr},
      {"oldest, new size", 84, kOldest, 64, nullptr}, {"middle of another effect", 44, kMiddle, 24, nullptr},
      {"no size", 0, kNewest, 64, nullptr},           {"no identifier", 84, GUID_NULL, 64, nullptr},
  };
  for (const auto& row : rows) {
    Owned<CQvChorus> chorus;
    platform::NoticeWindow window;
    chorus->SetNotifyWindow(window.Handle(), 1);
    const ChorusParams before = ParamsOf(*chorus);
    MemoryStream stream(Record(row.size, row.id, kBlock, row.body));
    EXPECT_EQ(chorus->Load(&stream), row.expected != nullptr ? S_OK : E_FAIL) << row.what;
    EXPECT_TRUE(Same(ParamsOf(*chorus), row.expected != nullptr ? *row.expected : before)) << row.what;
    EXPECT_EQ(chorus->IsDirty(), row.expected != nullptr ? S_OK : S_FALSE) << row.what;
    EXPECT_EQ(Notices(window), "100/1") << row.what;
    ULARGE_INTEGER size{};
    EXPECT_EQ(chorus->GetSizeMax(&size), S_OK);
    EXPECT_EQ(size.QuadPart, 84U);
  }
}

TEST(Record, OneThatEndsEarlyOrFailsChangesNothing) {
  Owned<CQvChorus> chorus;
  platform::NoticeWindow window;
  chorus->SetNotifyWindow(window.Handle(), 1);
  const ChorusParams before = ParamsOf(*chorus);
  const auto whole = Record(84, kNewest, kBlock, 64);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    MemoryStream stream({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
    EXPECT_EQ(chorus->Load(&stream), E_FAIL) << length;
    EXPECT_EQ(Notices(window), length < 20 ? "" : "100/1") << length;
  }
  MemoryStream broken(whole);
  broken.readResult = STG_E_READFAULT;
  EXPECT_EQ(chorus->Load(&broken), STG_E_READFAULT);
  EXPECT_EQ(chorus->Load(nullptr), E_POINTER);
  EXPECT_EQ(Notices(window), "");
  EXPECT_TRUE(Same(ParamsOf(*chorus), before));
  EXPECT_EQ(chorus->IsDirty(), S_FALSE);
}

TEST(Record, AnyBodyLeavesValuesInTheirRanges) {
  const Seed seed;
  std::mt19937 random(seed);
  for (int round = 0; round < 500; ++round) {
    Owned<CQvChorus> chorus;
    auto bytes = Record(84, kNewest, kBlock, 64);
    for (std::size_t i = 20; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(random());
    MemoryStream stream(bytes);
    ASSERT_EQ(chorus->Load(&stream), S_OK);
    const ChorusParams block = ParamsOf(*chorus);
    for (const ParamDescriptor& row : kChorusEffect.rows) {
      std::int32_t value = 0;
      std::memcpy(&value, reinterpret_cast<const char*>(&block) + row.blockOffset, 4);
      EXPECT_TRUE(value >= row.externalMin && value <= row.externalMax) << row.name << " in round " << round;
    }
  }
}

TEST(Record, SavesTheNewestFormAndTellsWhetherItIsSaved) {
  Owned<CQvChorus> chorus;
  EXPECT_EQ(chorus->IsDirty(), S_FALSE);
  MemoryStream first;
  EXPECT_EQ(chorus->Save(&first, FALSE), S_OK);
  EXPECT_EQ(chorus->IsDirty(), S_OK);  // a copy was saved, and the filter counts as unsaved
  chorus->SetParams(&kBlock);
  MemoryStream stream;
  EXPECT_EQ(chorus->Save(&stream, TRUE), S_OK);
  EXPECT_EQ(chorus->IsDirty(), S_FALSE);
  EXPECT_EQ(stream.bytes, Record(84, kNewest, kBlock, 64));
  Owned<CQvChorus> other;
  EXPECT_EQ(other->Load(&stream), S_OK);
  EXPECT_TRUE(Same(ParamsOf(*other), kBlock));
  for (const std::size_t limit : {0U, 20U}) {
    MemoryStream full;
    full.writeResult = STG_E_MEDIUMFULL;
    full.writeLimit = limit;
    EXPECT_EQ(chorus->Save(&full, FALSE), STG_E_MEDIUMFULL);
    EXPECT_EQ(chorus->IsDirty(), S_FALSE);
  }
  CLSID classId{};
  EXPECT_EQ(chorus->GetClassID(&classId), S_OK);
  EXPECT_TRUE(classId == kChorusEffect.filterClass);
}

TEST(Presets, AreListedNamedAndApplied) {
  QvLang_UpdateLCID(ModuleLanguage(), 1033, 0, 0);
  Owned<CQvChorus> chorus;
  const auto presets = chorus.As<IStaticFilterPreset>();
  LONG count = 0;
  EXPECT_EQ(presets->GetPresetCount(&count), S_OK);
  EXPECT_EQ(count, 24);
  const struct {
    LONG index;
    const char* name;
    ChorusParams block;
  } rows[] = {
      {0, "(Default)", {0, -60, -44, 3, 0, 0, 400, 800, 3, 0, 5000, 0, 0, 18, 1000, 0}},
      {1, "Default all parameters", {0, -60, -44, 3, 0, 0, 400, 800, 3, 0, 5000, 0, 0, 18, 1000, 0}},
      {15, "Cheap TV", {-20, 0, 0, 2, 0, 1, 1, 100, 100, 0, 5000, 0, 0, 18, 1000, 0}},
      {18, "Echo-vibrato 3", {0, -92, -80, 3, 50, 0, 1000, 20000, 1, 0, 5000, 0, 0, 18, 1000, 0}},
      {23, "Hard flange", {-20, -31, -31, 1, 90, 0, 8, 500, 75, 0, 5000, 0, 0, 18, 1000, 0}},
  };
  EXPECT_TRUE(Same(ParamsOf(*chorus), rows[0].block));  // a new filter
  for (const auto& row : rows) {
    WCHAR name[260] = {};
    EXPECT_EQ(presets->GetPresetName(row.index, name), S_OK);
    EXPECT_EQ(platform::ToUtf8(name), row.name);
    EXPECT_EQ(presets->SetPreset(row.index), S_OK);
    EXPECT_TRUE(Same(ParamsOf(*chorus), row.block)) << row.name;
  }
  for (const LONG index : {LONG{-1}, LONG{24}, std::numeric_limits<LONG>::min(), std::numeric_limits<LONG>::max()}) {
    WCHAR name[260] = {};
    EXPECT_EQ(presets->GetPresetName(index, name), E_INVALIDARG);
    EXPECT_EQ(presets->SetPreset(index), E_INVALIDARG);
  }
  EXPECT_TRUE(Same(ParamsOf(*chorus), rows[4].block));
  CAUUID pages{};
  ASSERT_EQ(chorus->GetPages(&pages), S_OK);
  ASSERT_EQ(pages.cElems, 1U);
  EXPECT_TRUE(pages.pElems[0] == kChorusEffect.pageClass);
  platform::FreeTaskMemory(pages.pElems);
}

}  // namespace
}  // namespace korva
