#include "registered_module.h"

#include <gtest/gtest.h>

#include <optional>

namespace korva {
namespace {

std::optional<ModuleFile> file;

class Registered final : public testing::Environment {
 public:
  void SetUp() override {
    ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    file.emplace();
    ASSERT_NE(file->handle(), nullptr);
    ASSERT_EQ(file->Register(), S_OK);
  }
  void TearDown() override {
    EXPECT_EQ(file->Unregister(), S_OK);
    EXPECT_EQ(file->CanUnloadNow(), S_OK) << "an object is still alive";
    file.reset();
    ::CoUninitialize();
  }
};

const testing::Environment* const registered = testing::AddGlobalTestEnvironment(new Registered);

}  // namespace

const ModuleFile& RegisteredModule() {
  return *file;
}

}  // namespace korva
