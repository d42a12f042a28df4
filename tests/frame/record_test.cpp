#include "frame/record.h"

#include <gtest/gtest.h>

#include <cstring>

#include "frame_rig.h"
#include "platform/services.h"
#include "support/memory_stream.h"

namespace korva {
namespace {

constexpr GUID kNewest{0x039be819, 0xe0bb, 0x40f6, {0x9f, 0x59, 0x0e, 0xe9, 0x35, 0xff, 0x0d, 0x74}};
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

TEST(Record, TellsWindowsWhenItsHeadWasRead) {
  Owned<CQvChorus> chorus;
  platform::NoticeWindow window;
  chorus->SetNotifyWindow(window.Handle(), 1);
  const auto whole = Record(84, kNewest, kBlock, 64);
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    MemoryStream stream({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
    EXPECT_EQ(chorus->Load(&stream), length == whole.size() ? S_OK : E_FAIL) << length;
    EXPECT_EQ(Notices(window), length < 20 ? "" : "100/1") << length;
  }
  EXPECT_TRUE(Same(ParamsOf(*chorus), kBlock));
  MemoryStream strange(Record(84, GUID_NULL, kBlock, 64));
  EXPECT_EQ(chorus->Load(&strange), E_FAIL);
  EXPECT_EQ(Notices(window), "100/1");
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
  CLSID classId{};
  EXPECT_EQ(chorus->GetClassID(&classId), S_OK);
  EXPECT_TRUE(classId == kChorusEffect.filterClass);
  CAUUID pages{};
  ASSERT_EQ(chorus->GetPages(&pages), S_OK);
  ASSERT_EQ(pages.cElems, 1U);
  EXPECT_TRUE(pages.pElems[0] == kChorusEffect.pageClass);
  platform::FreeTaskMemory(pages.pElems);
}

}  // namespace
}  // namespace korva
