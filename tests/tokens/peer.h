#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "platform/platform.h"

namespace korva {

/// The peer process, spoken to over two pipes. It ends with the object, or at `End`.
class Peer {
 public:
  Peer() {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    HANDLE childIn = nullptr, childOut = nullptr;
    ::CreatePipe(&childIn, &to_, &inherited, 0);
    ::CreatePipe(&from_, &childOut, &inherited, 0);
    ::SetHandleInformation(to_, HANDLE_FLAG_INHERIT, 0);
    ::SetHandleInformation(from_, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = childIn;
    start.hStdOutput = childOut;
    PROCESS_INFORMATION made{};
    WCHAR name[] = L"token_peer.exe";
    if (::CreateProcessW(nullptr, name, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &made) != FALSE) {
      process_ = made.hProcess;
      ::CloseHandle(made.hThread);
    }
    ::CloseHandle(childIn);
    ::CloseHandle(childOut);
    EXPECT_NE(process_, nullptr) << "token_peer.exe does not start";
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() {
    End();
    ::CloseHandle(from_);
  }

  void End() {
    if (to_ == nullptr) return;
    ::CloseHandle(std::exchange(to_, nullptr));
    EXPECT_EQ(::WaitForSingleObject(process_, 20000), WAIT_OBJECT_0);
    ::CloseHandle(process_);
  }

  std::string Ask(std::string line) {
    line += '\n';
    DWORD moved = 0;
    ::WriteFile(to_, line.data(), static_cast<DWORD>(line.size()), &moved, nullptr);
    std::string answer;
    for (char c = 0; ::ReadFile(from_, &c, 1, &moved, nullptr) != FALSE && moved == 1 && c != '\n';) {
      if (c != '\r') answer += c;
    }
    return answer;
  }

 private:
  HANDLE to_ = nullptr, from_ = nullptr, process_ = nullptr;
};

}  // namespace korva
