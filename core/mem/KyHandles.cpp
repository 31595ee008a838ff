#include "core/mem/KyHandles.h"

#include <cstdint>
#include <cstring>

#include "core/error/Assert.h"
#include "core/error/XError.h"
#include "core/mem/FakeHandles.h"
#include "core/mem/HandleTotals.h"
#include "core/mem/KyMemory.h"
#include "core/mem/MemoryMutex.h"
#include "core/mem/Toolbox.h"
#include "core/mem/TracedPtr.h"
#include "core/mem/ZorvexHandleMgr.h"
#include "core/threads/ThreadContext.h"

using namespace ky;

namespace {

constexpr Long kStampedBytes = 4;

// Without a toolbox there is no need to find, or to make, the thread's context.
bool mayUseToolbox() {
  if (!toolbox()) [[likely]]
    return false;
  const ThreadContext* const thread = ThreadContext::Find();
  return thread && thread->IsMac2WinSafe();
}

// The toolbox would not survive a call from another thread.
Toolbox* toolboxFor(const char* complaint) {
  if (mayUseToolbox()) return toolbox();
  fatal(complaint);
  return nullptr;
}

bool isFake(const void* handle) {
  if (slotOwner(handle)) [[likely]]
    return true;
  return ZorvexHandleMgr::IsZorvexHandle(static_cast<void**>(const_cast<void*>(handle)));  // false, once it is started
}

char** countedReal(char** handle, Long size) {
  if (!handle) raiseOutOfMemory();
  ++handleTotals().numHdls;
  handleTotals().totalHdl += size;
  if (allocationWatch.traced()) KySlotAdd(handle, size, 0);
  return handle;
}

void copyInto(char** handle, const void* src, Long size) {
  if (size > 0) std::memcpy(*handle, src, static_cast<std::size_t>(size));
}

// Where in the handle's block `src` lies, or -1 if it lies elsewhere.
Long offsetWithin(char** handle, const void* src) {
  const char* const start = *handle;
  const char* const at = static_cast<const char*>(src);
  if (!start || at < start || at >= start + KyGetHandleSize(handle)) return -1;
  return static_cast<Long>(at - start);
}

}  // namespace

char** ky::newFakeSlowly(void* block) {
  auto failure = SlotFailure::none;
  void** const slot = newSlotSlowly(block, failure);
  if (!slot) {
    if (block) disposePtr(block);
    raiseSlotFailure(failure);
  }
  return reinterpret_cast<char**>(slot);
}

char** ky::newFakeOfSizeSlowly(Long size) { return newFake(newPtrSlowly(size, 1)); }

// ---- making

char** KyNewHandle(Long size) { return mayUseToolbox() ? KyNewHandleMac(size) : newFakeOfSize(size); }

char** KyNewHandleClear(Long size) {
  return mayUseToolbox() ? KyNewHandleClearMac(size) : KyNewHandleClearZorvex(size);
}

char** KyNewEmptyHandle() { return mayUseToolbox() ? KyNewEmptyHandleMac() : newFake(nullptr); }

char** KyNewMaxHandle(Long maxSze, Long minSize, Long step) {
  return mayUseToolbox() ? KyNewMaxHandleMac(maxSze, minSize, step) : KyNewMaxHandleZorvex(maxSze, minSize, step);
}

char** KyNewHandleHi(Long lsize) {
  check(lsize > 0, "lsize > 0");
  return KyNewHandle(lsize);
}

char** KyNewHandleMac(Long size) {
  Toolbox* const box = toolboxFor("KyNewHandleMac: Not Mac2Win safe!!!");
  if (!box) raiseOutOfMemory();
  const MemoryTenure held;
  return countedReal(box->newHandle(size), size);
}

char** KyNewHandleClearMac(Long size) {
  Toolbox* const box = toolboxFor("KyNewHandleClearMac: Not Mac2Win safe!!!");
  if (!box) raiseOutOfMemory();
  const MemoryTenure held;
  return countedReal(box->newHandleClear(size), size);
}

char** KyNewEmptyHandleMac() {
  Toolbox* const box = toolboxFor("KyNewEmptyHandleMac: Not Mac2Win safe!!!");
  if (!box) raiseOutOfMemory();
  const MemoryTenure held;
  return countedReal(box->newEmptyHandle(), 0);
}

// Alone of its kind it does not test the thread.
char** KyNewMaxHandleMac(Long maxSze, Long, Long) {
  Toolbox* const box = toolbox();
  if (!box) raiseOutOfMemory();
  const MemoryTenure held;
  return countedReal(box->newHandle(maxSze), maxSze);
}

short KyPtrToHandMac(const void* src, char*** out, Long size) {
  if (!toolboxFor("KyPtrToHandMac: Not Mac2Win safe!!!")) raiseOutOfMemory();
  char** const handle = KyNewHandleMac(size);
  copyInto(handle, src, size);
  *out = handle;
  return 0;
}

char** KyNewHandleZorvex(Long size) { return newFakeOfSize(size); }

char** KyNewHandleClearZorvex(Long size) { return newFake(KyNewPtrClear(size)); }

char** KyNewEmptyHandleZorvex() { return newFake(nullptr); }

char** KyNewMaxHandleZorvex(Long maxSze, Long minSize, Long step) {
  return newFake(KyNewMaxPtr(maxSze, minSize, step));
}

short KyPtrToHandZorvex(const void* src, char*** out, Long size) {
  char** const handle = KyNewHandleZorvex(size);
  copyInto(handle, src, size);
  *out = handle;
  return 0;
}

// ---- disposing and resizing

static void disposeFake(ZorvexMasterPointerBlock& owner, void* handle) {
  auto failure = SlotFailure::none;
  void* const block = endSlot(owner, static_cast<void**>(handle), failure);
  if (failure != SlotFailure::none) [[unlikely]]
    raiseSlotFailure(failure);
  if (block) disposePtr(block);
}

static Long fakeSize(const void* handle) {
  const void* const block = *static_cast<const void* const*>(handle);
  return block ? ptrHeader(block)->size : 0;
}

void KyDisposeHandleZorvex(void* handle) {
  if (ZorvexMasterPointerBlock* const owner = slotOwner(handle)) {
    disposeFake(*owner, handle);
  } else {
    +XError("KyDisposeHandleZorvex: bad fake handle", 0);
  }
}

// Wears the dispose routine's text: reports have been read by it for as long as there are handles.
Long KyGetHandleSizeZorvex(const void* handle) {
  if (!isFake(handle)) +XError("KyDisposeHandleZorvex: bad fake handle", 0);
  return fakeSize(handle);
}

void KySetHandleSizeZorvex(void* handle, Long newSize) {
  if (!isFake(handle)) +XError("KySetHandleSizeZorvex: bad fake handle", 0);
  if (!check(newSize >= 0, "newSize >= 0")) return;
  void*& slot = *static_cast<void**>(handle);
  void* block = slot;
  KyReallocPtr(&block, newSize);
  slot = block;
}

void KyReallocHandleZorvex(void* handle, Long newSize) {
  if (!isFake(handle)) +XError("KySetHandleSizeZorvex: bad fake handle", 0);
  if (!check(newSize >= 0, "newSize >= 0")) return;
  void*& slot = *static_cast<void**>(handle);
  void* const old = slot;
  slot = newPtr(newSize);
  if (old) disposePtr(old);
}

void KyDisposeHandleMac(void* handle) {
  Toolbox* const box = toolboxFor("KyDisposeHandleMac: Not Mac2Win safe!!!");
  if (!box) return;
  char** const real = static_cast<char**>(handle);
  const MemoryTenure held;
  const Long size = box->handleSize(real);
  if (size >= kStampedBytes) std::memset(*real, 0xFF, kStampedBytes);  // a use after the end is to show
  box->disposeHandle(real);
  handleTotals().totalHdl -= size;
  --handleTotals().numHdls;
  if (allocationWatch.freesWatched()) KySlotRemove(handle);
}

Long KyGetHandleSizeMac(const void* handle) {
  Toolbox* const box = toolboxFor("KyGetHandleSizeMac: Not Mac2Win safe!!!");
  if (!box) return 0;
  const MemoryTenure held;
  return box->handleSize(static_cast<char**>(const_cast<void*>(handle)));
}

void KySetHandleSizeMac(void* handle, Long newSize) {
  Toolbox* const box = toolboxFor("KySetHandleSizeMac: Not Mac2Win safe!!!");
  if (!box) return;
  const MemoryTenure held;
  if (!box->setHandleSize(static_cast<char**>(handle), newSize)) raiseOutOfMemory();
}

void KyReallocHandleMac(void* handle, Long newSize) {
  Toolbox* const box = toolboxFor("KyReallocHandleMac: Not Mac2Win safe!!!");
  if (!box) return;
  const MemoryTenure held;
  if (!box->reallocHandle(static_cast<char**>(handle), newSize)) raiseOutOfMemory();
}

void KyDisposeHandle(void* handle) {
  if (ZorvexMasterPointerBlock* const owner = slotOwner(handle)) [[likely]] {
    disposeFake(*owner, handle);
  } else if (!isFake(handle)) {
    KyDisposeHandleMac(handle);
  }
}

Long KyGetHandleSize(const void* handle) { return isFake(handle) ? fakeSize(handle) : KyGetHandleSizeMac(handle); }

Long KyGetHandleSizeFast(const void* handle) { return KyGetHandleSize(handle); }

void KySetHandleSize(void* handle, Long newSize) {
  isFake(handle) ? KySetHandleSizeZorvex(handle, newSize) : KySetHandleSizeMac(handle, newSize);
}

void KyReallocHandle(void* handle, Long newSize) {
  isFake(handle) ? KyReallocHandleZorvex(handle, newSize) : KyReallocHandleMac(handle, newSize);
}

char** KyResizeHandle(void* handle, Long newSize) {
  KySetHandleSize(handle, newSize);
  return static_cast<char**>(handle);
}

// ---- locking

unsigned char KyHLock(void*) { return true; }

unsigned char KyHLockHi(void*) { return true; }

unsigned char KyHLockFast(void*) { return true; }

unsigned char KyHLockHiFast(void*) { return true; }

void KyHUnlock(void*, unsigned char) {}
void KyHUnlockFast(void*, unsigned char) {}

// ---- copying

short KyPtrToHand(const void* src, char*** out, Long size) {
  char** const handle = KyNewHandle(size);
  if (!check(handle != nullptr, "myHdl != NULL")) return 0;
  copyInto(handle, src, size);
  *out = handle;
  return 0;
}

short KyPtrToXHand(const void* src, char** h, Long size) {
  if (size > 0 && offsetWithin(h, src) >= 0) {
    std::memmove(*h, src, static_cast<std::size_t>(size));
    KySetHandleSize(h, size);
    return 0;
  }
  KySetHandleSize(h, size);
  copyInto(h, src, size);
  return 0;
}

short KyPtrAndHand(const void* src, char** h, Long size) {
  const Long offset = offsetWithin(h, src);
  const Long old = KyGetHandleSize(h);
  if (size > INT32_MAX - old) raiseOutOfMemory();
  KySetHandleSize(h, old + size);
  const char* const from = offset >= 0 ? *h + offset : static_cast<const char*>(src);
  if (size > 0 && *h) std::memcpy(*h + old, from, static_cast<std::size_t>(size));
  return 0;
}

short KyHandToHand(char*** h) {
  if (!check(*h != nullptr, "oldHandle != NULL")) return 0;
  *h = KyCopyHand(*h);
  return 0;
}

char** KyCopyHand(char** oldHandle) {
  if (!check(oldHandle != nullptr, "oldHandle != NULL")) return nullptr;
  const bool fake = isFake(oldHandle);
  if (!*oldHandle) return fake ? KyNewEmptyHandleZorvex() : KyNewEmptyHandleMac();
  const Long size = KyGetHandleSize(oldHandle);
  char** const copy = fake ? KyNewHandleZorvex(size) : KyNewHandleMac(size);
  copyInto(copy, *oldHandle, size);
  return copy;
}

// ---- tests

unsigned char KyChkNewHandle(Long size) { return KyMaxBlock() > size; }

// The whole master pointer, not its low byte, which alignment makes zero in one good block of sixteen.
void KyCheckhandle(const void* handle) {
  if (!handle || !*static_cast<void* const*>(handle)) fatal("Tested handle is NOT a valid handle");
}

short KyMemError() { return 0; }

Long KyGetNumHdls() { return static_cast<Long>(memoryTotals().numHdls); }
