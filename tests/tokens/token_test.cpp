#include <gtest/gtest.h>

#include <new>

#include "module/tokens/shared_token.h"
#include "module/tokens/token_system.h"
#include "peer.h"
#include "token_text.h"

namespace korva {
namespace {

constexpr unsigned long kSize = 48;
constexpr unsigned long kAccesses[] = {0, kTokenWrite, kTokenRead, kTokenRead | kTokenWrite, 1};

bool Reads(unsigned long access) {
  return access != kTokenWrite;
}
bool Writes(unsigned long access) {
  return access != kTokenRead;
}

_qvmemorytoken PlainToken(void* base, unsigned long size, unsigned long offset = 0) {
  _qvmemorytoken token = ClearedToken();
  token.base = base;
  token.dataSize = size;
  token.offset = offset;
  token.owner = ::GetCurrentProcessId();
  return token;
}

/// Counts what the classes hold, and lets the call of number `failing` fail.
struct Fault {
  static inline int failing = -1, calls = 0, held = 0;

  static void Watch(int fail);
  static void Unwatch() { tokenSystem = &kTokenSystem; }
};

/// A call that hands out so many things; one that gives something back does not fail.
template <auto kCall, int kHands, class Result, class... Arguments>
Result WINAPI Watched(Arguments... arguments) {
  if (kHands >= 0 && Fault::calls++ == Fault::failing) return Result{};
  const Result result = (kTokenSystem.*kCall)(arguments...);
  EXPECT_TRUE(result || kHands >= 0) << "something was given back twice";
  if (result) Fault::held += kHands;
  return result;
}
template <auto kCall, int kHands, class Result, class... Arguments>
auto WatchedCall(Result (WINAPI* TokenSystem::* /*call*/)(Arguments...)) {
  return &Watched<kCall, kHands, Result, Arguments...>;
}

void Fault::Watch(int fail) {
  failing = fail;
  calls = held = 0;
  using S = TokenSystem;
  static const TokenSystem watched = {
      WatchedCall<&S::openProcess, 1>(&S::openProcess),
      WatchedCall<&S::duplicateHandle, 1>(&S::duplicateHandle),
      WatchedCall<&S::closeHandle, -1>(&S::closeHandle),
      WatchedCall<&S::createFileMapping, 1>(&S::createFileMapping),
      WatchedCall<&S::mapViewOfFile, 1>(&S::mapViewOfFile),
      WatchedCall<&S::unmapViewOfFile, -1>(&S::unmapViewOfFile),
      WatchedCall<&S::readProcessMemory, 0>(&S::readProcessMemory),
      WatchedCall<&S::writeProcessMemory, 0>(&S::writeProcessMemory),
      WatchedCall<&S::heapAlloc, 1>(&S::heapAlloc),
      WatchedCall<&S::heapFree, -1>(&S::heapFree),
  };
  tokenSystem = &watched;
}

class Token : public testing::Test {
 protected:
  void SetUp() override { Fault::Watch(-1); }
  void TearDown() override {
    EXPECT_EQ(Fault::held, 0);
    Fault::Unwatch();
  }
};

/// With a block of each kind in another process.
class TokenOfPeer : public Token {
 protected:
  Peer peer;
  const _qvmemorytoken plain = TokenOf(peer.Ask("make plain 48 16"));
  const _qvmemorytoken shared = TokenOf(peer.Ask("make shared 48 16"));
};

std::string Pattern(unsigned long size) {
  Bytes bytes(size);
  for (unsigned long i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + 1);
  return HexOf(bytes.data(), size);
}
std::string Filled(unsigned char value, unsigned long size) {
  const Bytes bytes(size, value);
  return HexOf(bytes.data(), size);
}

/// What a program of the other compiler does: the members by their names, in memory of its own. The names of this
/// compiler are those that the other process is linked with.
TEST_F(Token, AnswersUnderTheOtherCompilersNamesInTheFixedLayout) {
  const HMODULE module = ::LoadLibraryW(L"korvafx.dll");
  ASSERT_NE(module, nullptr);
  const auto call = [module]<class... Arguments>(const char* name, Arguments... arguments) {
    void* const found = reinterpret_cast<void*>(::GetProcAddress(module, name));
    EXPECT_NE(found, nullptr) << name;
    return found != nullptr ? reinterpret_cast<void* (*)(Arguments...)>(found)(arguments...) : nullptr;
  };
  const auto number = [](void* result) { return static_cast<std::int32_t>(reinterpret_cast<std::intptr_t>(result)); };
  Bytes block(64);
  _qvmemorytoken token = PlainToken(block.data(), kSize, 16), portable{};
  struct {
    _qvmemorytoken token;
    void *pointer, *view, *handle;
    unsigned char mapped, copied, failed, writeBack, unused[4];
  } object{}, other{};
  static_assert(sizeof object == 72);
  std::memset(&object, 0xEE, sizeof object);
  EXPECT_EQ(call("??0CMappingOfQvMemoryToken@@QEAA@AEBU_qvmemorytoken@@K@Z", &object, &token, 6UL), &object);
  EXPECT_EQ(std::memcmp(&object.token, &token, sizeof token), 0);
  EXPECT_EQ(object.pointer, block.data() + 16);
  EXPECT_EQ(object.view, nullptr);
  EXPECT_EQ(object.handle, INVALID_HANDLE_VALUE);
  EXPECT_EQ(HexOf(&object.mapped, 4), "00000000");
  EXPECT_EQ(call("??4CMappingOfQvMemoryToken@@QEAAAEAV0@AEBV0@@Z", &other, &object), &other);
  EXPECT_EQ(std::memcmp(&object, &other, sizeof object), 0);
  void* got = nullptr;
  EXPECT_EQ(number(call("?GetPointer@CMappingOfQvMemoryToken@@QEAAJPEAPEAX@Z", &other, &got)), 0);
  EXPECT_EQ(got, block.data() + 16);
  EXPECT_EQ(number(call("?DataSize@CMappingOfQvMemoryToken@@QEAAJXZ", &other)), static_cast<std::int32_t>(kSize));
  call("?Close@CMappingOfQvMemoryToken@@QEAAXXZ", &other);
  EXPECT_EQ(call("?Pointer@CMappingOfQvMemoryToken@@QEAAPEAXXZ", &other), nullptr);
  call("??1CMappingOfQvMemoryToken@@QEAA@XZ", &object);
  struct {
    _qvmemorytoken source, portable;
    std::int32_t ownsMapping, failed;
    std::uint32_t access, unused;
  } out{};
  static_assert(sizeof out == 96);
  EXPECT_EQ(call("??0COutOfProcessMemoryToken@@QEAA@AEAU_qvmemorytoken@@KH@Z", &out, &token, 9UL, 1), &out);
  EXPECT_EQ(out.ownsMapping | out.failed, 0);
  EXPECT_EQ(out.access, 6U);
  EXPECT_EQ(number(call("?GetMemoryToken@COutOfProcessMemoryToken@@QEAAJAEAU_qvmemorytoken@@@Z", &out, &portable)), 0);
  EXPECT_EQ(std::memcmp(&portable, &token, sizeof token), 0);
  call("??1COutOfProcessMemoryToken@@QEAA@XZ", &out);
  ::FreeLibrary(module);
}

TEST_F(Token, OpensAnotherProcessesBlocksWithEveryAccess) {
  for (const bool shared : {false, true}) {
    for (const unsigned long access : kAccesses) {
      SCOPED_TRACE((shared ? "shared, access " : "plain, access ") + std::to_string(access));
      Peer peer;
      const _qvmemorytoken token = TokenOf(peer.Ask(shared ? "make shared 48 16" : "make plain 48 16"));
      CMappingOfQvMemoryToken opened(token, access);
      ASSERT_NE(opened.Pointer(), nullptr);
      EXPECT_EQ(opened.DataSize(), static_cast<long>(kSize));
      // A copy for writing alone starts empty; a view shows what there is.
      EXPECT_EQ(HexOf(opened.Pointer(), kSize), Reads(access) || shared ? Pattern(kSize) : Filled(0, kSize));
      if (Writes(access) || !shared) std::memset(opened.Pointer(), 0xA5, kSize);
      opened.Dispose();
      EXPECT_EQ(peer.Ask("show"), Writes(access) ? Filled(0xA5, kSize) : Pattern(kSize));
      EXPECT_EQ(opened.Pointer(), nullptr);
      opened.Close();
    }
  }
}

TEST_F(Token, AnotherProcessOpensWhatWasMadePortable) {
  // Addresses above 4 GB are what the copy is for.
  void* const high =
      ::VirtualAlloc(reinterpret_cast<void*>(0x2'0000'0000), 4096, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
  ASSERT_NE(high, nullptr);
  for (const unsigned long access : kAccesses) {
    for (const bool anyAddress : {false, true}) {
      SCOPED_TRACE(std::to_string(access) + (anyAddress ? ", any address" : ""));
      _qvmemorytoken source = PlainToken(std::memset(high, 0x11, kSize), kSize);
      Peer peer;
      {
        COutOfProcessMemoryToken made(source, access, anyAddress ? 1 : 0);
        _qvmemorytoken portable{};
        ASSERT_EQ(made.GetMemoryToken(portable), 0);
        EXPECT_EQ(portable.kind, anyAddress ? kTokenPlain : kTokenShared);
        const bool given = anyAddress || Reads(access);
        EXPECT_EQ(peer.Ask("open " + HexOf(&portable, sizeof portable) + " 6 1"), Filled(given ? 0x11 : 0, kSize));
      }
      EXPECT_EQ(HexOf(source.base, kSize), Filled(anyAddress || Writes(access) ? 0x5A : 0x11, kSize));
    }
  }
  ::VirtualFree(high, 0, MEM_RELEASE);
  // A low token goes as it is.
  _qvmemorytoken low = PlainToken(reinterpret_cast<void*>(0x1000), kSize), out{};
  EXPECT_EQ(COutOfProcessMemoryToken(low, 0, 0).GetMemoryToken(out), 0);
  EXPECT_EQ(out.base, low.base);
}

TEST_F(Token, AnOwnerMayEndInBetween) {
  for (const char* kind : {"make plain 48 0", "make shared 48 0"}) {
    Peer peer;
    const _qvmemorytoken token = TokenOf(peer.Ask(kind));
    CMappingOfQvMemoryToken opened(token, 6);
    ASSERT_NE(opened.Pointer(), nullptr);
    COutOfProcessMemoryToken portable(const_cast<_qvmemorytoken&>(token), 6, 0);
    peer.End();
    EXPECT_EQ(HexOf(opened.Pointer(), kSize), Pattern(kSize));
    std::memset(opened.Pointer(), 1, kSize);
    opened.Dispose();
    CMappingOfQvMemoryToken late(token, 6);
    void* data = &late;
    EXPECT_EQ(late.Pointer(), nullptr);
    EXPECT_EQ(late.DataSize(), -1);
    EXPECT_EQ(late.GetPointer(&data), E_FAIL);
    EXPECT_EQ(data, nullptr);
  }
}

TEST_F(TokenOfPeer, HostileTokensFailAndTouchNothing) {
  const _qvmemorytoken event = TokenOf(peer.Ask("event"));
  const auto with = [](_qvmemorytoken token, auto change) {
    change(token);
    return token;
  };
  auto* const top = reinterpret_cast<void*>(UINTPTR_MAX - 8);
  const struct {
    const char* what;
    _qvmemorytoken token;
  } cases[] = {
      {"sum beyond the mapping", with(shared, [](auto& t) { t.dataSize = 1 << 20; })},
      {"sum beyond 32 bits", with(shared, [](auto& t) { t.dataSize = t.offset = 0x80000000; })},
      {"offset that wraps", with(shared, [](auto& t) { t.offset = 0xFFFFFFF0; })},
      {"a size of 4 GB less one", with(shared, [](auto& t) { t.dataSize = 0xFFFFFFFF; })},
      {"no mapping's handle", event},
      {"no handle", with(shared, [](auto& t) { t.mapping = INVALID_HANDLE_VALUE; })},
      {"a made-up handle", with(shared, [](auto& t) { t.mapping = reinterpret_cast<void*>(0x7654320); })},
      {"an unknown kind", with(plain, [](auto& t) { t.kind = 2; })},
      {"no such owner", with(plain, [](auto& t) { t.owner = 0xFFFFFFF0; })},
      {"the system as owner", with(plain, [](auto& t) { t.owner = 0; })},
      {"base near the end", with(plain, [&](auto& t) { t.base = top; })},
      {"nothing mapped there", with(plain, [](auto& t) { t.base = reinterpret_cast<void*>(64); })},
      {"more than there is", with(plain, [](auto& t) { t.dataSize = 1 << 24; })},
  };
  for (const auto& [what, token] : cases) {
    for (const unsigned long access : {kTokenRead, kTokenRead | kTokenWrite}) {
      CMappingOfQvMemoryToken opened(token, access);
      EXPECT_EQ(opened.Pointer(), nullptr) << what;
      EXPECT_EQ(opened.DataSize(), -1) << what;
      _qvmemorytoken source = token, out{};
      if (token.kind == kTokenShared) continue;
      EXPECT_EQ(COutOfProcessMemoryToken(source, access, 0).GetMemoryToken(out),
                reinterpret_cast<std::uintptr_t>(token.base) == 64 ? S_OK : E_FAIL)
          << what;
    }
  }
  EXPECT_EQ(CMappingOfQvMemoryToken(with(plain, [](auto& t) { t.dataSize = 0xFFFFFFFF; }), kTokenRead).DataSize(), -1);
  // This process's own: an address that wraps, one where nothing is, and no bytes at all.
  const _qvmemorytoken own[] = {PlainToken(top, kSize, 64), PlainToken(reinterpret_cast<void*>(1ULL << 33), kSize),
                                PlainToken(reinterpret_cast<void*>(1ULL << 33), 0)};
  for (_qvmemorytoken token : own) {
    _qvmemorytoken out{};
    EXPECT_EQ(COutOfProcessMemoryToken(token, 6, 0).GetMemoryToken(out), E_FAIL);
  }
  CMappingOfQvMemoryToken empty(with(plain, [](auto& t) { t.dataSize = 0; }), 6);
  EXPECT_NE(empty.Pointer(), nullptr);
  EXPECT_EQ(empty.DataSize(), 0);
  empty.Dispose();
  EXPECT_EQ(peer.Ask("show"), Pattern(kSize));
}

/// Every system call fails once, in every thing that can be done.
TEST_F(TokenOfPeer, AFailedCallLeavesNothingBehind) {
  const auto open = [](const _qvmemorytoken& token, unsigned long access) {
    CMappingOfQvMemoryToken opened(token, access);
    return opened.Pointer() != nullptr;
  };
  const auto portable = [&](unsigned long access) {
    _qvmemorytoken source = plain, out{};
    return COutOfProcessMemoryToken(source, access, 0).GetMemoryToken(out) == 0;
  };
  int failures = 0;
  for (int action = 0; action < 8; ++action) {
    bool failed = true;
    for (int fail = 0; failed; ++fail) {
      Fault::Watch(fail);
      const unsigned long access = kAccesses[action % 4];
      const bool good = action < 4 ? open(action % 2 == 0 ? shared : plain, access) : portable(access);
      EXPECT_EQ(Fault::held, 0) << "action " << action << ", call " << fail;
      failed = fail < Fault::calls;
      failures += failed ? 1 : 0;
      EXPECT_TRUE(good || failed) << "action " << action;
    }
  }
  EXPECT_GT(failures, 20);
  _qvmemorytoken token{};
  for (int fail = 0; fail < 2; ++fail) {
    Fault::Watch(fail);
    EXPECT_EQ(CreateSharedToken(token, 16), E_OUTOFMEMORY);
    EXPECT_EQ(token.mapping, INVALID_HANDLE_VALUE);
    EXPECT_EQ(Fault::held, 0);
  }
  Fault::Watch(-1);
  EXPECT_EQ(CreateSharedToken(token, 16), S_OK);
  EXPECT_EQ(DestroySharedToken(token), S_OK);
  EXPECT_EQ(DestroySharedToken(token), E_INVALIDARG);
}

}  // namespace
}  // namespace korva
