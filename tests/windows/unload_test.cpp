#include <gtest/gtest.h>

#include <cstdio>

#include "frame/interfaces.h"
#include "module/class_table.h"
#include "registered_module.h"
#include "streaming/com_ptr.h"
#include "usage.h"

// Needs a process of its own: no one else may keep the module loaded.
namespace korva {
namespace {

/// Creates a filter straight from the file, and lets it work where it can without a graph.
void UseOne(const ModuleFile& file, const ClassRow& row) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(file.GetClassObject(row.classId, IID_IClassFactory, factory.PutVoid()), S_OK);
  ComPtr<IUnknown> object;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, object.PutVoid()), S_OK);
  WCHAR name[260] = {};
  if (const auto presets = Query<IStaticFilterPreset>(object.Get()); presets) presets->GetPresetName(0, name);
  if (const auto effect = Query<IQvAudioTransformFloat>(object.Get()); effect) {
    float frames[4 * 64] = {1.0F};
    ASSERT_EQ(effect->FloatStart(4, 44100), S_OK);
    ASSERT_EQ(effect->FloatProcess(frames, 64, 0), S_OK);
    ASSERT_EQ(effect->FloatStop(), S_OK);
  }
  ASSERT_EQ(file.CanUnloadNow(), S_FALSE);
}

/// One visit of a host that never registered the module: load, use, let go.
void Visit() {
  {
    const ModuleFile file;
    ASSERT_NE(file.handle(), nullptr);
    for (const ClassRow& row : ClassTable()) UseOne(file, row);
    ASSERT_EQ(file.CanUnloadNow(), S_OK);
  }
  ASSERT_EQ(::GetModuleHandleW(L"korvafx.dll"), nullptr);
}

TEST(Unload, LeavesNothingBehind) {
  constexpr int kVisits = 1500;  // more than there are indexes of thread data
  for (int i = 0; i < 20; ++i) Visit();
  const Usage before = Usage::Now();
  for (int i = 0; i < kVisits && !HasFatalFailure(); ++i) Visit();
  const Usage growth = Usage::Now() - before;
  EXPECT_LE(growth.handles, 0);
  // What the thread library inside the module keeps of every loading.
  EXPECT_LE(growth.bytes, kVisits * 640);
  std::printf("%d loads: %ld handles and %lld bytes more\n", kVisits, growth.handles, growth.bytes);
}

}  // namespace
}  // namespace korva
