// The root of all object classes.
#pragma once

#include <cstddef>
#include <cstring>

#include "core/base/KyTypes.h"

/// Every object starts zero-filled, is made by `new` and ends by `Dispose()`.
///
/// A class below it holds no member that owns memory through its own constructor, unless it overrides `Copy()`: objects
/// are copied as raw bytes. It has the name that KY_CLASS gives it.
class KY_API AObject {
 public:
  typedef void (*LogRoutine)(AObject* object);

  // Virtual operations, in slot order.

  /// Ends the object, after telling the disposal hook. Closing work that can fail stands in an override: do it, delete,
  /// then raise; destructors do not raise. Does nothing but tell the hook when called as `p->AObject::Dispose()` on
  /// null.
  virtual void Dispose();

  /// Returns:  a flat copy of the object's block, which the caller owns. A class with owned parts overrides it.
  /// Raises:   MEM_OUT_OF_MEMORY.
  virtual AObject* Copy();

  /// Fatal: the class should have overridden the calling method.
  virtual void SubclassResponsibility();

  /// Fatal: the class has no use for the calling method.
  virtual void DoesNotImplement();

  /// Returns:  the class's own name, a literal of fewer than 256 characters.
  virtual const char* ClassName();

  /// Returns:  true if `name` is, by contents, the name of the object's class or of one of its bases.
  virtual Boolean IsInstanceOf(const char* name);

  virtual void Dump(KyPrint print, int indent);

  /// Returns:  the byte size of the object's block. Only for objects that `new` made.
  virtual Long Size();

  /// Asserts that the object is consistent.
  virtual void DebugCheck();

  /// Tells the creation hook; called after construction by a class that wants to be seen by the profiler.
  virtual void IObject();

 protected:
  virtual ~AObject();

 public:
  /// Returns:  `size` zero bytes, never null.
  /// Raises:   MEM_OUT_OF_MEMORY.
  static void* operator new(std::size_t size);

  /// Zeroes the `size` bytes at `where` before the constructor runs: contents already there do not survive.
  static void* operator new(std::size_t size, void* where);

  /// Requires: "p != NULL".
  static void operator delete(void* p);
  static void operator delete(void*, void*) {}

  /// Sets both hooks; null takes one away. Meant for start-up, before a second thread runs.
  static void InstallLogRoutines(LogRoutine creation, LogRoutine disposal);

  static LogRoutine iCreationCB;
  static LogRoutine iDisposalCB;

 protected:
  AObject() = default;
  AObject(const AObject&) {}
  AObject& operator=(const AObject&) { return *this; }
};

/// Gives a class below AObject its name; stands first in the class and leaves it private.
#define KY_CLASS(Class, Base)                                          \
 public:                                                               \
  const char* ClassName() override { return #Class; }                  \
  Boolean IsInstanceOf(const char* name) override {                    \
    return std::strcmp(name, #Class) == 0 || Base::IsInstanceOf(name); \
  }                                                                    \
                                                                       \
 private:
