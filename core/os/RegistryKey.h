// Installation facts: named values under keys, kept for the user between runs.
//
//   KyRegistryKey* key = CreateWin32RegKey("Recorder");
//   Long channels = 2;
//   key->GetLongValue("Channels", &channels);
//   DestroyWin32RegKey(key);
#pragma once

#include "core/base/KyTypes.h"

enum KyRegValueType { REG_VALUE_NONE = 0, REG_VALUE_STRING = 1, REG_VALUE_BINARY = 3, REG_VALUE_LONG = 4 };

/// The values of one key. An absent value, or one of another type, is no error: the answer is false and what was to be
/// filled stays as it was.
///
/// Units:    all keys of a user hold 16 MB at most, as the text of their file.
/// Raises:   from the setters what keeps them from being stored, the earlier values being whole; DISK_FULL for too
///           much, DISK_FILE_LOCKED while others keep setting values for five seconds. Nothing else raises.
/// Threads:  any; processes that set values at the same time do not lose each other's. Lets the other cooperative
///           threads run while it works.
class KY_API KyRegistryKey {
 public:
  virtual ~KyRegistryKey();

  /// Cut to `size`.
  virtual Boolean GetStringValue(const char* name, char* buffer, Long size) = 0;
  virtual Boolean GetLongValue(const char* name, Long* value) = 0;
  /// `*size` is the buffer's size, then the value's; a value that does not fit is not given, only its size.
  virtual Boolean GetBinaryValue(const char* name, void* buffer, Long* size) = 0;
  virtual void SetBinaryValue(const char* name, const void* data, Long size) = 0;
  virtual void SetLongValue(const char* name, Long value) = 0;
  virtual KyRegValueType GetValueType(const char* name) = 0;
  virtual void setStringValue(const char* name, const char* text) = 0;
};

/// The key `name` below the maker's own; "" or null for the latter itself. It need not exist.
///
/// Returns:  a key to be ended by DestroyWin32RegKey.
KY_API KyRegistryKey* CreateWin32RegKey(const char* name);

/// Raises:   REG_KEY_PTR_ISNULL.
KY_API void DestroyWin32RegKey(KyRegistryKey* key);

/// A key in the user's settings file: text that a person can read and mend. A line that makes no sense is as good as
/// absent.
class KY_API KyWin32RegistryKey : public KyRegistryKey {
 public:
  /// `path` is the whole name of the key.
  explicit KyWin32RegistryKey(const char* path);
  ~KyWin32RegistryKey() override;
  KyWin32RegistryKey(const KyWin32RegistryKey&) = delete;
  KyWin32RegistryKey& operator=(const KyWin32RegistryKey&) = delete;

  Boolean GetStringValue(const char* name, char* buffer, Long size) override;
  Boolean GetLongValue(const char* name, Long* value) override;
  Boolean GetBinaryValue(const char* name, void* buffer, Long* size) override;
  void SetBinaryValue(const char* name, const void* data, Long size) override;
  void SetLongValue(const char* name, Long value) override;
  KyRegValueType GetValueType(const char* name) override;
  void setStringValue(const char* name, const char* text) override;

 private:
  char* path = nullptr;
};
