// Which files are open, under which name and flags, and for how many.
#pragma once

#include <map>
#include <set>
#include <vector>

#include "core/filesys/FileRecord.h"
#include "core/mem/KyMemory.h"
#include "platform/Locks.h"

namespace ky {

/// Lets a standard container raise MEM_OUT_OF_MEMORY, and counts its memory with the rest.
template <class T>
struct BlockAllocator {
  using value_type = T;
  BlockAllocator() = default;
  template <class U>
  BlockAllocator(const BlockAllocator<U>&) {}
  T* allocate(std::size_t count) { return static_cast<T*>(KyNewPtr(static_cast<Long>(count * sizeof(T)))); }
  void deallocate(T* block, std::size_t) { KyDisposePtr(block); }
  bool operator==(const BlockAllocator&) const { return true; }
};

/// The records of all open files, sorted by kind of use, name and flags. An open asks for its kind of use only, so that
/// a buffered and an unbuffered open of one file stay apart.
///
/// Threads:  any; opening a file takes more than one step, which the cooperative section keeps together.
class OpenFileList {
 public:
  static OpenFileList& instance();

  /// A record with the memory that it takes, which is wanted before a file is made or emptied.
  class Entry;

  /// Returns:  how many files are open now.
  Long add(Entry&& entry);

  /// Returns:  the file, with one reference more; null if there is none that may be shared.
  fileRec_t** share(const char* name, unsigned short flags);

  bool contains(fileRec_t** file) const;

  struct Release {
    Long openCount = 0;  ///< this file included
    bool isLast = false;
  };
  Release release(fileRec_t** file);

  void stopSharing(const char* path);

  /// Each file as often as it is referred to.
  std::vector<fileRec_t**> references() const;

 private:
  struct Record {
    char name[kPathSize] = {};
    unsigned short flags = 0;
    fileRec_t** file = nullptr;
    mutable Long references = 1;
    mutable bool isShared = true;
  };
  struct Key {
    const char* name;
    unsigned short flags;
  };
  struct Order {
    using is_transparent = void;
    static bool isBefore(const Key& a, const Key& b);
    static Key key(const Record& record) { return {record.name, record.flags}; }
    static Key key(const Key& key) { return key; }
    bool operator()(const auto& a, const auto& b) const { return isBefore(key(a), key(b)); }
  };
  using Records = std::multiset<Record, Order, BlockAllocator<Record>>;
  using Places = std::map<fileRec_t**, Records::iterator, std::less<>,
                          BlockAllocator<std::pair<fileRec_t** const, Records::iterator>>>;

  mutable platform::RecursiveLock lock;
  Records records;
  Places places;
};

class OpenFileList::Entry {
 public:
  /// Raises:   MEM_OUT_OF_MEMORY, DISK_INVALID_FILENAME_SYNTAX for a name that is too long.
  Entry(const char* name, unsigned short flags, fileRec_t** file);

 private:
  friend class OpenFileList;
  Records record;
  Places place;
};

}  // namespace ky
