#include "module/tokens/token_system.h"

namespace korva {

const TokenSystem kTokenSystem = {
    &::OpenProcess,     &::DuplicateHandle,   &::CloseHandle,        &::CreateFileMappingW, &::MapViewOfFile,
    &::UnmapViewOfFile, &::ReadProcessMemory, &::WriteProcessMemory, &::HeapAlloc,          &::HeapFree,
};

constinit const TokenSystem* tokenSystem = &kTokenSystem;

}  // namespace korva
