#pragma once

#include "platform/platform.h"

namespace korva {

/// The side-by-side context of this module's own manifest, resource 3, active while the object lives: window classes
/// registered inside it find the versions that the manifest asks for. With no such resource, or on a system without
/// contexts, nothing happens.
class ModuleActivation {
 public:
  ModuleActivation() noexcept;
  ~ModuleActivation();
  ModuleActivation(const ModuleActivation&) = delete;
  ModuleActivation& operator=(const ModuleActivation&) = delete;

 private:
  ULONG_PTR cookie_ = 0;
  bool active_ = false;
};

/// The module that this code is part of, whatever its file is called.
HMODULE ThisModule() noexcept;

}  // namespace korva
