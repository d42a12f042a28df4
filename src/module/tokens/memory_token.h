// Memory tokens: a record that names a block of memory so that another process can reach it, and the two classes over
// it. This is the header for programs that use the module: link with its import library, or look the members up by
// their exported names, which are those of the Microsoft compiler for x64 and those of the GNU compiler.
// Sizes are in bytes. Nothing throws: a failure is a state of the object, told by what its members return. There are no
// locks: an object belongs to one thread at a time, and who writes to a block when is agreed between the two processes.
#pragma once

// Access masks. 0, or a mask with neither bit, means both.
constexpr unsigned long kTokenWrite = 2;
constexpr unsigned long kTokenRead = 4;

// Kinds of tokens.
constexpr unsigned long kTokenPlain = 0;   // memory of the owner process
constexpr unsigned long kTokenShared = 1;  // a mapping that the owner process holds

/// Names a block: `dataSize` bytes at `base` + `offset` in the owner process, or at `offset` in a mapping.
/// The layout is the same for every process and compiler.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the name hosts know it by
struct _qvmemorytoken {
  void* mapping;                ///< a handle in the owner process, all bits set when there is none
  void* base;                   ///< an address in the owner process
  unsigned long dataSize;       ///< bytes
  unsigned long allocatedSize;  ///< bytes
  unsigned long offset;         ///< of the data from the base, bytes
  unsigned long unused;         ///< 0
  unsigned long kind;           ///< `kTokenPlain` or `kTokenShared`
  unsigned long owner;          ///< identifier of the owner process
};

/// A pointer in this process to the block that a token names.
///
/// A block of this process is reached where it lies, without a handle or memory. A shared block of another process is
/// mapped; a plain one is copied here, and copied back by `Dispose` when it was opened for writing.
/// The pointer is good until `Dispose`, `Close` or destruction, which may come in any order and as often as one likes.
class CMappingOfQvMemoryToken {
 public:
  /// Opens `token` with `access`. A token of another process fails when that process is gone or not allowed, when the
  /// block cannot be reached whole, or when there is no memory.
  CMappingOfQvMemoryToken(const _qvmemorytoken& token, unsigned long access) noexcept;
  CMappingOfQvMemoryToken(const CMappingOfQvMemoryToken&) = delete;
  ~CMappingOfQvMemoryToken();

  /// Copies the members as they stand. Nothing is duplicated: only one of the two objects may be disposed of, and what
  /// the target held before is lost.
  CMappingOfQvMemoryToken& operator=(const CMappingOfQvMemoryToken& other) noexcept;

  /// The same as `Dispose`.
  void Close() noexcept;
  /// Lets the block go. What was written to a copy goes back to its owner; when the owner is gone it is lost.
  void Dispose() noexcept;

  /// 0 and the pointer, or 0x80004005 and null.
  long GetPointer(void** out) noexcept;
  /// The pointer, or null.
  void* Pointer() noexcept;
  /// Size of the data in bytes as a signed number, or -1.
  long DataSize() noexcept;

 private:
  void OpenShared(unsigned long access) noexcept;
  void OpenPlain(unsigned long access) noexcept;
  void WriteBack() noexcept;

  _qvmemorytoken token_;
  void* pointer_;
  void* view_;
  void* duplicate_;  // of the mapping's handle
  unsigned char mapped, copied, failed, writeBack;
  unsigned char unused_[4];
};

/// Makes of a token one that a process in another address space can open: the same one where that will do, otherwise
/// one of a shared block that this object owns and fills from the source.
///
/// A block made for writing is copied back to the source at destruction.
class COutOfProcessMemoryToken {
 public:
  /// `access` is what the other process may do. With `anyAddress` nonzero plain memory stays as it is wherever it lies;
  /// otherwise only what lies below 4 GB does.
  COutOfProcessMemoryToken(_qvmemorytoken& token, unsigned long access, int anyAddress) noexcept;
  COutOfProcessMemoryToken(const COutOfProcessMemoryToken&) = delete;
  ~COutOfProcessMemoryToken();

  /// Copies the members as they stand; nothing is duplicated, so only one of the two objects may be destroyed.
  COutOfProcessMemoryToken& operator=(const COutOfProcessMemoryToken& other) noexcept;

  /// 0 and the token to hand out, good as long as this object lives, or 0x80004005 with `out` as it was.
  long GetMemoryToken(_qvmemorytoken& out) noexcept;

 private:
  _qvmemorytoken source_;
  _qvmemorytoken portable_;
  int ownsMapping;
  int failed;
  unsigned long access_;
  unsigned long unused_;
};

// Hosts hold these objects in memory of their own.
static_assert(sizeof(_qvmemorytoken) == 40, "a token is 40 bytes");
static_assert(sizeof(CMappingOfQvMemoryToken) == 72, "a mapping of a token is 72 bytes");
static_assert(sizeof(COutOfProcessMemoryToken) == 96, "a token made portable is 96 bytes");
