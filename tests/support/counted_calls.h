#pragma once

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <cstddef>

// Counts what a thread asks of the system while it is watched: requests for memory, whoever makes them, and locks that
// it had to wait for. Included by one file of the program.
namespace korva {

struct Counts {
  int requests = 0, waits = 0;
};
inline thread_local volatile bool watched = false;
inline thread_local volatile int requests = 0, waits = 0;

template <class Run>
Counts CountedCalls(Run&& run) {
  requests = 0;
  waits = 0;
  watched = true;
  run();
  watched = false;
  return {requests, waits};
}

inline void CountRequest() noexcept {
  if (watched) requests = requests + 1;
}

}  // namespace korva

#ifndef KORVA_SANITIZED
// The program's own definitions come before the library's, for what it loads too.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) {
  korva::CountRequest();
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  korva::CountRequest();
  return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  korva::CountRequest();
  return __libc_realloc(memory, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  korva::CountRequest();
  return __libc_memalign(alignment, size);
}
void free(void* memory) {
  if (korva::watched && memory != nullptr) korva::CountRequest();
  __libc_free(memory);
}
int pthread_mutex_lock(pthread_mutex_t* mutex) {
  using Lock = int (*)(pthread_mutex_t*);
  static const auto real = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  if (korva::watched) {
    const int tried = pthread_mutex_trylock(mutex);
    if (tried != EBUSY) return tried;
    korva::waits = korva::waits + 1;
  }
  return real(mutex);
}
}
#endif
