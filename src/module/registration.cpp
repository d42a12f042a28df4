#include "module/registration.h"

#include <array>

#include "module/class_keys.h"
#include "module/class_table.h"
#include "module/filter_mapper.h"
#include "module/module_start.h"
#include "platform/media.h"
#include "streaming/com_ptr.h"

namespace korva {
namespace {

// Left behind by an earlier release.
constexpr CLSID kObsoleteClass{0x7831f5cd, 0x1b4a, 0x4c28, {0xb2, 0x4d, 0xd9, 0x3f, 0xa7, 0xc0, 0x30, 0x5a}};

constexpr std::size_t kPathCapacity = 260;
using ModulePath = std::array<WCHAR, kPathCapacity>;

HRESULT GetModulePath(ModulePath& path) noexcept {
  const DWORD length = ::GetModuleFileNameW(ModuleHandle(), path.data(), static_cast<DWORD>(path.size()));
  if (length == 0) return SystemFailure(static_cast<LONG>(::GetLastError()));
  // A path that does not fit comes back cut, with the whole field as its length.
  return length < path.size() ? S_OK : SystemFailure(ERROR_INSUFFICIENT_BUFFER);
}

HRESULT WriteAllClassKeys(const WCHAR* modulePath) noexcept {
  for (const ClassRow& row : ClassTable()) {
    if (const HRESULT result = WriteClassKeys(row, modulePath); FAILED(result)) return result;
  }
  return S_OK;
}

HRESULT EnterIn(const FilterMapper& mapper, const FilterSetup& setup, bool enter) noexcept {
  const HRESULT result = mapper.TakeOut(setup);
  return SUCCEEDED(result) && enter ? mapper.Enter(setup) : result;
}

HRESULT EnterAllInMapper(bool enter) noexcept {
  const ComponentLibrary library;
  const FilterMapper mapper;
  if (!mapper) return S_OK;
  for (const ClassRow& row : ClassTable()) {
    if (!row.setup) continue;
    if (const HRESULT result = EnterIn(mapper, *row.setup, enter); FAILED(result)) return result;
  }
  return S_OK;
}

/// A new object of the class by its setup interface. Empty, with success, for a class that has none.
HRESULT CreateForSetup(const ClassRow& row, ComPtr<IAMovieSetup>& setup) noexcept {
  HRESULT result = S_OK;
  CUnknown* const object = row.create(nullptr, &result);
  if (object == nullptr) return FAILED(result) ? result : E_OUTOFMEMORY;
  const ComPtr<IUnknown> inner(object->InnerUnknown());
  if (SUCCEEDED(result)) result = inner->QueryInterface(InterfaceId<IAMovieSetup>(), setup.PutVoid());
  return result == E_NOINTERFACE || result == VFW_E_NEED_OWNER ? S_OK : result;
}

HRESULT RunSetup(const ClassRow& row, bool enter) noexcept {
  if (row.create == nullptr) return S_OK;
  ComPtr<IAMovieSetup> setup;
  HRESULT result = CreateForSetup(row, setup);
  if (FAILED(result) || !setup) return result;
  result = setup->Unregister();
  return SUCCEEDED(result) && enter ? setup->Register() : result;
}

void DeleteAllClassKeys() noexcept {
  for (const ClassRow& row : ClassTable()) DeleteClassKeys(row.classId);
}

}  // namespace

HRESULT EnterInMapper(const FilterSetup& setup, bool enter) noexcept {
  const ComponentLibrary library;
  const FilterMapper mapper;
  if (!mapper) return S_OK;
  return enter ? mapper.Enter(setup) : mapper.TakeOut(setup);
}

HRESULT RegisterModule() noexcept {
  ModulePath path{};
  HRESULT result = GetModulePath(path);
  if (SUCCEEDED(result)) result = WriteAllClassKeys(path.data());
  if (SUCCEEDED(result)) result = EnterAllInMapper(true);
  if (SUCCEEDED(result)) result = WriteAllClassKeys(path.data());
  for (const ClassRow& row : ClassTable()) {
    if (FAILED(result)) return result;
    result = RunSetup(row, true);
  }
  return FAILED(result) ? result : S_OK;
}

HRESULT UnregisterModule() noexcept {
  if (const HRESULT result = CreateAndDeleteClassKey(kObsoleteClass); FAILED(result)) return result;
  const auto classes = ClassTable();
  for (std::size_t i = classes.size(); i-- != 0;) {
    if (const HRESULT result = RunSetup(classes[i], false); FAILED(result)) return result;
    DeleteClassKeys(classes[i].classId);
  }
  ModulePath path{};
  HRESULT result = GetModulePath(path);
  if (SUCCEEDED(result)) result = EnterAllInMapper(false);
  DeleteAllClassKeys();
  return result;
}

}  // namespace korva
