#include <gtest/gtest.h>

#include <new>

#include "module/tokens/shared_token.h"
#include "module/tokens/token_system.h"
#include "peer.h"
#include "token_text.h"
#include "windows/usage.h"

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

  static void Watch(int fail) {
    failing = fail;
    calls = held = 0;
    static const TokenSystem watched = {
        [](DWORD rights, BOOL inherit, DWORD id) -> HANDLE {
          if (calls++ == failing) return nullptr;
          return Held(::OpenProcess(rights, inherit, id));
        },
        [](HANDLE from, HANDLE handle, HANDLE to, LPHANDLE out, DWORD access, BOOL inherit, DWORD options) -> BOOL {
          if (calls++ == failing) return FALSE;
          const BOOL done = ::DuplicateHandle(from, handle, to, out, access, inherit, options);
          held += done;
          return done;
        },
        [](HANDLE handle) -> BOOL { return Gone(::CloseHandle(handle)); },
        [](HANDLE file, LPSECURITY_ATTRIBUTES rights, DWORD protect, DWORD high, DWORD low, LPCWSTR name) -> HANDLE {
          if (calls++ == failing) return nullptr;
          return Held(::CreateFileMappingW(file, rights, protect, high, low, name));
        },
        [](HANDLE mapping, DWORD access, DWORD high, DWORD low, SIZE_T bytes) -> LPVOID {
          if (calls++ == failing) return nullptr;
          return Held(::MapViewOfFile(mapping, access, high, low, bytes));
        },
        [](LPCVOID view) -> BOOL { return Gone(::UnmapViewOfFile(view)); },
        [](HANDLE process, LPCVOID from, LPVOID to, SIZE_T bytes, SIZE_T* moved) -> BOOL {
          if (calls++ == failing) return FALSE;
          return ::ReadProcessMemory(process, from, to, bytes, moved);
        },
        [](HANDLE process, LPVOID to, LPCVOID from, SIZE_T bytes, SIZE_T* moved) -> BOOL {
          if (calls++ == failing) return FALSE;
          return ::WriteProcessMemory(process, to, from, bytes, moved);
        },
        [](HANDLE heap, DWORD flags, SIZE_T bytes) -> LPVOID {
          if (calls++ == failing) return nullptr;
          return Held(::HeapAlloc(heap, flags, bytes));
        },
        [](HANDLE heap, DWORD flags, LPVOID block) -> BOOL { return Gone(::HeapFree(heap, flags, block)); },
    };
    tokenSystem = &watched;
  }
  static void Unwatch() { tokenSystem = &kTokenSystem; }

 private:
  template <class Thing>
  static Thing Held(Thing thing) {
    held += thing != nullptr ? 1 : 0;
    return thing;
  }
  static BOOL Gone(BOOL done) {
    EXPECT_NE(done, FALSE) << "something was given back twice";
    --held;
    return done;
  }
};

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

/// What a program of the other compiler does: the members by their names, in memory of its own.
TEST_F(Token, AnswersUnderBothCompilersNamesInTheFixedLayout) {
  const HMODULE module = ::LoadLibraryW(L"korvafx.dll");
  ASSERT_NE(module, nullptr);
  const auto find = [&](const char* name) { return reinterpret_cast<void*>(::GetProcAddress(module, name)); };
  using Construct = void* (*)(void*, const _qvmemorytoken*, unsigned long);
  using Destroy = void (*)(void*);
  using Assign = void* (*)(void*, const void*);
  const struct {
    const char *construct, *destroy, *assign, *dispose, *getPointer, *pointer, *dataSize;
    bool microsoft;
  } names[] = {
      {"??0CMappingOfQvMemoryToken@@QEAA@AEBU_qvmemorytoken@@K@Z", "??1CMappingOfQvMemoryToken@@QEAA@XZ",
       "??4CMappingOfQvMemoryToken@@QEAAAEAV0@AEBV0@@Z", "?Close@CMappingOfQvMemoryToken@@QEAAXXZ",
       "?GetPointer@CMappingOfQvMemoryToken@@QEAAJPEAPEAX@Z", "?Pointer@CMappingOfQvMemoryToken@@QEAAPEAXXZ",
       "?DataSize@CMappingOfQvMemoryToken@@QEAAJXZ", true},
      {"_ZN23CMappingOfQvMemoryTokenC1ERK14_qvmemorytokenm", "_ZN23CMappingOfQvMemoryTokenD1Ev",
       "_ZN23CMappingOfQvMemoryTokenaSERKS_", "_ZN23CMappingOfQvMemoryToken7DisposeEv",
       "_ZN23CMappingOfQvMemoryToken10GetPointerEPPv", "_ZN23CMappingOfQvMemoryToken7PointerEv",
       "_ZN23CMappingOfQvMemoryToken8DataSizeEv", false},
  };
  Bytes block(64);
  const _qvmemorytoken token = PlainToken(block.data(), kSize, 16);
  for (const auto& name : names) {
    struct {
      _qvmemorytoken token;
      void *pointer, *view, *handle;
      unsigned char mapped, copied, failed, writeBack, unused[4];
    } object{}, other{};
    static_assert(sizeof object == 72);
    std::memset(&object, 0xEE, sizeof object);
    void* const made = reinterpret_cast<Construct>(find(name.construct))(&object, &token, 6);
    if (name.microsoft) {
      EXPECT_EQ(made, &object);
    }
    EXPECT_EQ(std::memcmp(&object.token, &token, sizeof token), 0);
    EXPECT_EQ(object.pointer, block.data() + 16);
    EXPECT_EQ(object.view, nullptr);
    EXPECT_EQ(object.handle, INVALID_HANDLE_VALUE);
    EXPECT_EQ(HexOf(&object.mapped, 4), "00000000");
    EXPECT_EQ(reinterpret_cast<Assign>(find(name.assign))(&other, &object), &other);
    EXPECT_EQ(std::memcmp(&object, &other, sizeof object), 0);
    void* got = nullptr;
    EXPECT_EQ(reinterpret_cast<long (*)(void*, void**)>(find(name.getPointer))(&other, &got), 0);
    EXPECT_EQ(got, block.data() + 16);
    EXPECT_EQ(reinterpret_cast<long (*)(void*)>(find(name.dataSize))(&other), static_cast<long>(kSize));
    reinterpret_cast<Destroy>(find(name.dispose))(&other);
    EXPECT_EQ(reinterpret_cast<void* (*)(void*)>(find(name.pointer))(&other), nullptr);
    reinterpret_cast<Destroy>(find(name.destroy))(&object);
  }
  using Portable = void* (*)(void*, _qvmemorytoken*, unsigned long, int);
  const struct {
    const char *construct, *destroy, *get;
  } outNames[] = {
      {"??0COutOfProcessMemoryToken@@QEAA@AEAU_qvmemorytoken@@KH@Z", "??1COutOfProcessMemoryToken@@QEAA@XZ",
       "?GetMemoryToken@COutOfProcessMemoryToken@@QEAAJAEAU_qvmemorytoken@@@Z"},
      {"_ZN24COutOfProcessMemoryTokenC1ER14_qvmemorytokenmi", "_ZN24COutOfProcessMemoryTokenD1Ev",
       "_ZN24COutOfProcessMemoryToken14GetMemoryTokenER14_qvmemorytoken"},
  };
  for (const auto& name : outNames) {
    struct {
      _qvmemorytoken source, portable;
      std::int32_t ownsMapping, failed;
      std::uint32_t access, unused;
    } object{};
    static_assert(sizeof object == 96);
    _qvmemorytoken source = token, portable{};
    void* const made = reinterpret_cast<Portable>(find(name.construct))(&object, &source, 9, 1);
    if (name.construct[0] == '?') {
      EXPECT_EQ(made, &object);
    }
    EXPECT_EQ(object.ownsMapping | object.failed, 0);
    EXPECT_EQ(object.access, 6U);
    EXPECT_EQ(reinterpret_cast<long (*)(void*, _qvmemorytoken*)>(find(name.get))(&object, &portable), 0);
    EXPECT_EQ(std::memcmp(&portable, &token, sizeof token), 0);
    reinterpret_cast<Destroy>(find(name.destroy))(&object);
  }
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
      const bool writable = Writes(access) || !shared;
      if (writable) std::memset(opened.Pointer(), 0xA5, kSize);
      if (!shared) {
        EXPECT_EQ(peer.Ask("show"), Pattern(kSize));
      }
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
  // And the other way round.
  Peer peer;
  const std::string made = peer.Ask("make plain 48 16");
  CMappingOfQvMemoryToken opened(TokenOf(peer.Ask("portable " + made + " 6")), kTokenRead);
  ASSERT_NE(opened.Pointer(), nullptr);
  EXPECT_EQ(HexOf(opened.Pointer(), kSize), Pattern(kSize));
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
    const bool good = opened.Pointer() != nullptr;
    opened.Dispose();
    opened.Close();
    return good;
  };
  const auto portable = [&](unsigned long access) {
    _qvmemorytoken source = plain, out{};
    COutOfProcessMemoryToken made(source, access, 0);
    return made.GetMemoryToken(out) == 0;
  };
  int failures = 0;
  for (int action = 0; action < 8; ++action) {
    for (int fail = 0;; ++fail) {
      Fault::Watch(fail);
      const unsigned long access = kAccesses[action % 4];
      const bool good = action < 4 ? open(action % 2 == 0 ? shared : plain, access) : portable(access);
      EXPECT_EQ(Fault::held, 0) << "action " << action << ", call " << fail;
      const bool failed = fail < Fault::calls;
      failures += failed ? 1 : 0;
      if (!failed) {
        EXPECT_TRUE(good) << "action " << action;
        break;
      }
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

TEST_F(TokenOfPeer, AThousandRoundsKeepNoHandle) {
  const long before = Usage::Now().handles;
  for (int i = 0; i < 1000; ++i) {
    for (_qvmemorytoken token : {plain, shared}) {
      CMappingOfQvMemoryToken opened(token, kAccesses[i % 4]);
      ASSERT_NE(opened.Pointer(), nullptr);
      if (i % 3 == 0) opened.Dispose();
      COutOfProcessMemoryToken portable(token, kAccesses[i % 4], 0);
    }
  }
  EXPECT_EQ(Usage::Now().handles, before);
}

}  // namespace
}  // namespace korva
