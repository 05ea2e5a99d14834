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

struct ThreadCache {
  FreeBlock* head[kLists] = {};
  uint8_t count[kLists] = {};
};
// A thread's cache, made at its first free; kClosed once its release ran at thread exit (blocks
// freed by later thread-exit destructors go to the heap). One pointer in the initial-exec model:
// the thread pointer plus an offset, where the general model calls into the dynamic linker at
// every record. A library loaded with dlopen may take that little static TLS.
ThreadCache closedCache;
ThreadCache* const kClosed = &closedCache;
thread_local ThreadCache* cache [[gnu::tls_model("initial-exec")]] = nullptr;

struct Release {
  ~Release() {
    ThreadCache* const c = cache;
    cache = kClosed;
    for (FreeBlock* b : c->head) {
      while (b != nullptr) {
        FreeBlock* const next = b->next;
        ::operator delete(b);
        b = next;
      }
    }
    delete c;
  }
};

// The cache of a thread that has none yet, or null where none can be made.
ThreadCache* arm() {
  auto* c = new (std::nothrow) ThreadCache();
  if (c == nullptr) return nullptr;
  cache = c;
  thread_local Release release;
  static_cast<void>(release);
  return c;
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
    if (ThreadCache* const c = cache) {
      if (FreeBlock* b = c->head[i]) {
        c->head[i] = b->next;
        --c->count[i];
        return b;
      }
    }
  }
  return ::operator new(size);
}

void MessageBase::operator delete(void* p, std::size_t size) noexcept {
  if (p == nullptr) return;
  const std::size_t i = listOf(size);
  if (i < kLists) {
    ThreadCache* c = cache;
    if (c == nullptr) c = arm();
    if (c != nullptr && c != kClosed && c->count[i] < kCap) {
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
