#include "streaming/movie_setup.h"

#include <atomic>

namespace korva {
namespace {

std::atomic<const FilterRegistrar*> filterRegistrar{nullptr};

}  // namespace

void SetFilterRegistrar(const FilterRegistrar* registrar) noexcept {
  filterRegistrar.store(registrar);
}

const FilterRegistrar* GetFilterRegistrar() noexcept {
  return filterRegistrar.load();
}

}  // namespace korva
