#pragma once

#include "streaming/com_ptr.h"
#include "streaming/movie_setup.h"

namespace korva {

/// The component library, for as long as the object lives, on a thread that may or may not have it already.
class ComponentLibrary {
 public:
  ComponentLibrary() noexcept : result_(::CoInitialize(nullptr)) {}
  ComponentLibrary(const ComponentLibrary&) = delete;
  ComponentLibrary& operator=(const ComponentLibrary&) = delete;
  ~ComponentLibrary() {
    // A thread that has it in another way than asked for keeps it, and nothing is counted.
    if (FAILED(result_)) return;
    ::CoFreeUnusedLibraries();
    ::CoUninitialize();
  }

 private:
  const HRESULT result_;
};

/// The system's filter mapper by its newest interface, or by the older one where there is no other. Needs a
/// `ComponentLibrary`.
class FilterMapper {
 public:
  FilterMapper() noexcept;
  /// By the one that is not null, the newer of two.
  FilterMapper(IFilterMapper2* newer, IFilterMapper* older) noexcept : newer_(newer), older_(older) {}

  explicit operator bool() const noexcept { return newer_ || older_; }

  /// In no category, which is the mapper's default one, and with no moniker. The filter must not be there yet.
  HRESULT Enter(const FilterSetup& setup) const noexcept;
  /// A filter that the mapper does not know counts as taken out.
  HRESULT TakeOut(const FilterSetup& setup) const noexcept;

 private:
  HRESULT EnterInNewer(const FilterSetup& setup) const noexcept;
  HRESULT EnterInOlder(const FilterSetup& setup) const noexcept;

  ComPtr<IFilterMapper2> newer_;
  ComPtr<IFilterMapper> older_;
};

}  // namespace korva
