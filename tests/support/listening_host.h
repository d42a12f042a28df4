#pragma once

#include <string>
#include <utility>

#include "platform/media_params.h"
#include "support/owned.h"

namespace korva {

/// A host's callback that writes down what it hears of edits: "[3" a hand takes row 3, " 3=" it moves it, "3]" it lets
/// go. With a store to ask, it writes the value too, in tenths, and checks that the store holds it: a host may call
/// back.
class ListeningHost final : public IMediaParamsUICallback {
 public:
  KORVA_STACK_UNKNOWN(IMediaParamsUICallback);
  HRESULT ParamsBeginCapture(DWORD* rows, DWORD) override { return Note("[", rows, ""); }
  HRESULT ParamsChanged(DWORD* rows, DWORD, MP_DATA* values) override {
    Note(" ", rows, "=");
    MP_DATA held = -1;
    if (store == nullptr) return S_OK;
    heard += FAILED(store->GetParam(rows[0], &held)) || held != values[0] ? "other" : std::to_string(int(held * 10));
    return E_FAIL;  // a callback's result is nobody's concern
  }
  HRESULT ParamsEndCapture(DWORD* rows, DWORD) override { return Note("", rows, "]"); }

  std::string Take() { return std::exchange(heard, std::string()); }

  IMediaParams* store = nullptr;
  std::string heard;

 private:
  HRESULT Note(const char* before, const DWORD* rows, const char* after) {
    heard.append(before).append(std::to_string(rows[0])).append(after);
    return S_OK;
  }
};

}  // namespace korva
