#pragma once

#include "platform/platform.h"

namespace korva {

/// The system calls of the token classes that can fail or that give something back. A test puts a table of its own in
/// their place, to let each fail in turn and to count what is held.
struct TokenSystem {
  decltype(&::OpenProcess) openProcess;
  decltype(&::DuplicateHandle) duplicateHandle;
  decltype(&::CloseHandle) closeHandle;
  decltype(&::CreateFileMappingW) createFileMapping;
  decltype(&::MapViewOfFile) mapViewOfFile;
  decltype(&::UnmapViewOfFile) unmapViewOfFile;
  decltype(&::ReadProcessMemory) readProcessMemory;
  decltype(&::WriteProcessMemory) writeProcessMemory;
  decltype(&::HeapAlloc) heapAlloc;
  decltype(&::HeapFree) heapFree;
};

extern const TokenSystem kTokenSystem;
extern const TokenSystem* tokenSystem;

}  // namespace korva
