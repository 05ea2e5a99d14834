// Allocation of records. A reader makes and drops one record per frame, mostly with only a few
// alive at once on a thread; each thread keeps the blocks it frees in a short list per size and
// hands them out again instead of a malloc and free per record.
//
// Every record class's size is a multiple of the pointer size (the vtable pointer sets its
// alignment), so a list holds blocks of exactly one size: a block is only ever handed out for the
// size it was freed with, whatever allocated it. A block has no owner thread: the thread that
// frees it keeps it or returns it to the heap. Each list is capped, so a thread that only frees
// what another thread makes (a consumer behind a queue) holds at most kCap blocks of a size.
// Under AddressSanitizer every record goes to the heap, so the sanitizer sees each one.
#include <cstddef>
#include <cstdint>
#include <new>

#include "vxtrace/MessageBase.h"

#if defined(__SANITIZE_ADDRESS__)
#define VXTRACE_RECORD_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VXTRACE_RECORD_HEAP 1
#endif
#endif

#ifdef VXTRACE_RECORD_HEAP

void* MessageBase::operator new(std::size_t size) { return ::operator new(size); }
void MessageBase::operator delete(void* p, std::size_t) noexcept { ::operator delete(p); }

#else

namespace {

constexpr std::size_t kGranule = sizeof(void*);
constexpr std::size_t kMaxSize = 1024;  // larger records are rare: straight to the heap
constexpr std::size_t kLists = kMaxSize / kGranule;
constexpr unsigned kCap = 64;

struct FreeBlock {
  FreeBlock* next;
};

// Trivially constructed and destroyed, so that reaching it costs no guard; zero at thread start.
enum : uint8_t { kUnarmed, kOpen, kClosed };
struct ThreadCache {
  FreeBlock* head[kLists];
  uint8_t count[kLists];
  uint8_t state;  // kUnarmed until the release at thread exit is registered; kClosed after it ran
};
thread_local ThreadCache cache;

// Blocks freed after the release ran (by later thread-exit destructors) go to the heap.
struct Release {
  ~Release() {
    ThreadCache* const c = &cache;
    for (std::size_t i = 0; i < kLists; ++i) {
      while (FreeBlock* b = c->head[i]) {
        c->head[i] = b->next;
        ::operator delete(b);
      }
      c->count[i] = 0;
    }
    c->state = kClosed;
  }
};

// The cache's address, computed once: compilers otherwise repeat the call into the dynamic
// linker that finds it at each use.
inline ThreadCache* threadCache() {
  ThreadCache* c = &cache;
  asm("" : "+r"(c));
  return c;
}

void arm(ThreadCache* c) {
  thread_local Release release;
  static_cast<void>(release);
  c->state = kOpen;
}

// The list of blocks of exactly size bytes, or kLists or more when such blocks are not kept.
// (size - 1) / kGranule is size / kGranule - 1 for a multiple of kGranule, and huge for 0.
std::size_t listOf(std::size_t size) {
  return size % kGranule == 0 ? (size - 1) / kGranule : kLists;
}

}  // namespace

void* MessageBase::operator new(std::size_t size) {
  const std::size_t i = listOf(size);
  if (i < kLists) {
    ThreadCache* const c = threadCache();
    if (FreeBlock* b = c->head[i]) {
      c->head[i] = b->next;
      --c->count[i];
      return b;
    }
  }
  return ::operator new(size);
}

void MessageBase::operator delete(void* p, std::size_t size) noexcept {
  if (p == nullptr) return;
  const std::size_t i = listOf(size);
  if (i < kLists) {
    ThreadCache* const c = threadCache();
    if (c->count[i] < kCap && c->state != kClosed) {
      if (c->state == kUnarmed) arm(c);
      auto* b = static_cast<FreeBlock*>(p);
      b->next = c->head[i];
      c->head[i] = b;
      ++c->count[i];
      return;
    }
  }
  ::operator delete(p);
}

#endif
