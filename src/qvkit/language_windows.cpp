#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "qvkit/language_store.h"

namespace korva {
namespace {

constexpr std::uint32_t kBlockStrings = 16;  // strings of one string table resource

// One string table resource with its texts terminated, which they aren't in the resource.
struct Block {
  std::uint32_t number = 0;
  std::array<const WCHAR*, kBlockStrings> texts{};  // null where the block has none
  std::unique_ptr<WCHAR[]> characters;
  Block* next = nullptr;
};

// Loaded blocks stay until the store goes, so that texts outlive a change of language. A language's list only grows at
// its head, which lets readers walk it without a lock.
struct ResourceStore : QvLanguage {
  HMODULE module = nullptr;
  std::array<std::atomic<Block*>, kLanguageCount> blocks{};
};

Block* FindBlock(Block* first, const Block* end, std::uint32_t number) noexcept {
  while (first != end && first->number != number) first = first->next;
  return first != end ? first : nullptr;
}

// Null when the language has no such block or there is no memory. A block is sixteen texts, each a length and as many
// characters. The resource is named by its language, because a plain load would take the calling thread's.
std::unique_ptr<Block> LoadBlock(HMODULE module, std::uint32_t locale, std::uint32_t number) noexcept {
  const auto type = reinterpret_cast<LPCWSTR>(RT_STRING);
  HRSRC found = ::FindResourceExW(module, type, MAKEINTRESOURCEW(number + 1), static_cast<WORD>(locale));
  HGLOBAL loaded = found != nullptr ? ::LoadResource(module, found) : nullptr;
  const auto* source = loaded != nullptr ? static_cast<const WCHAR*>(::LockResource(loaded)) : nullptr;
  if (source == nullptr) return nullptr;
  const std::size_t size = ::SizeofResource(module, found) / sizeof(WCHAR);

  std::unique_ptr<Block> block(new (std::nothrow) Block);
  if (!block) return nullptr;
  block->number = number;
  block->characters.reset(new (std::nothrow) WCHAR[size + kBlockStrings]);  // lengths leave room for the terminators
  if (!block->characters) return nullptr;
  WCHAR* target = block->characters.get();
  std::size_t at = 0;
  for (const WCHAR*& text : block->texts) {
    if (at >= size) break;
    const std::size_t length = std::min<std::size_t>(source[at], size - at - 1);
    ++at;
    if (length > 0) {
      std::memcpy(target, source + at, length * sizeof(WCHAR));
      target[length] = L'\0';
      text = target;
      target += length + 1;
    }
    at += length;
  }
  return block;
}

}  // namespace

QvLanguage* CreateLanguageStore(void* module) noexcept {
  auto* store = new (std::nothrow) ResourceStore;
  if (store != nullptr) store->module = static_cast<HMODULE>(module);
  return store;
}

void DestroyLanguageStore(QvLanguage* store) noexcept {
  auto* resources = static_cast<ResourceStore*>(store);
  for (const auto& head : resources->blocks) {
    for (Block* block = head.load(); block != nullptr;) delete std::exchange(block, block->next);
  }
  delete resources;
}

const WCHAR* FindLanguageText(QvLanguage* store, std::size_t language, std::uint32_t id) noexcept {
  constexpr std::uint32_t kIds = 65536;
  if (store == nullptr || language >= kLanguageCount || id >= kIds) return nullptr;
  auto& resources = *static_cast<ResourceStore*>(store);
  auto& head = resources.blocks[language];
  const std::uint32_t number = id / kBlockStrings;
  Block* first = head.load(std::memory_order_acquire);
  Block* block = FindBlock(first, nullptr, number);
  if (block == nullptr) {
    std::unique_ptr<Block> fresh = LoadBlock(resources.module, kLanguageLocales[language], number);
    if (!fresh) return nullptr;
    fresh->next = first;
    // Another thread may have loaded the same block meanwhile: then its copy, already in use, is the one to keep.
    while (!head.compare_exchange_weak(fresh->next, fresh.get(), std::memory_order_acq_rel)) {
      block = FindBlock(fresh->next, first, number);
      if (block != nullptr) return block->texts[id % kBlockStrings];
    }
    block = fresh.release();
  }
  return block->texts[id % kBlockStrings];
}

}  // namespace korva
