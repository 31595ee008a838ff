#include "core/filesys/ALocator.h"

#include <cstdio>
#include <cstring>

#include "core/error/SystemErrors.h"
#include "core/filesys/DiskRtns.h"
#include "core/filesys/Paths.h"
#include "platform/Errors.h"

using namespace ky;

namespace {

constinit AFileLocatorManufacturer* defaultFiles = nullptr;
constinit ADirLocatorManufacturer* defaultFolders = nullptr;
constinit AFileLocatorManufacturer* files = nullptr;
constinit ADirLocatorManufacturer* folders = nullptr;

char* emptied(char* buffer, Long size) {
  if (size > 0) *buffer = 0;
  return buffer;
}

}  // namespace

std::string ky::fullPathOf(AFileSystemLocator* locator) {
  char path[kPathSize];
  return locator->GetFullPath(path, sizeof path);
}

void ky::setDefaultManufacturers(AFileLocatorManufacturer* newFiles, ADirLocatorManufacturer* newFolders) {
  files = defaultFiles = newFiles;
  folders = defaultFolders = newFolders;
}

// ---- ALocator

ULong ALocator::GetClassID() const {
  const_cast<ALocator*>(this)->SubclassResponsibility();
  return portableID;
}

void ALocator::Delete() { SubclassResponsibility(); }

Boolean ALocator::Exists() {
  SubclassResponsibility();
  return 0;
}

char* ALocator::GetPrintName(char* buffer, Long size) {
  SubclassResponsibility();
  return emptied(buffer, size);
}

Loc_t ALocator::GetLocatorType() {
  SubclassResponsibility();
  return LOC_NONE;
}

// ---- AFileSystemLocator

void AFileSystemLocator::Create(ULong) { SubclassResponsibility(); }

Boolean AFileSystemLocator::IsEqual(ALocator*) {
  SubclassResponsibility();
  return 0;
}

void AFileSystemLocator::GetModDate(std::tm*) { SubclassResponsibility(); }

void AFileSystemLocator::GetCreateDate(std::tm*) { SubclassResponsibility(); }

char* AFileSystemLocator::GetName(char* buffer, Long size) {
  SubclassResponsibility();
  return emptied(buffer, size);
}

void AFileSystemLocator::Move(ADirLocator*, Boolean) { SubclassResponsibility(); }

void AFileSystemLocator::Rename(const char*, Boolean) { SubclassResponsibility(); }

char* AFileSystemLocator::GetFullPath(char* buffer, Long size) {
  SubclassResponsibility();
  return emptied(buffer, size);
}

void AFileSystemLocator::SetFileLock(Boolean) { SubclassResponsibility(); }

Boolean AFileSystemLocator::GetFileLock() {
  SubclassResponsibility();
  return 0;
}

ADirLocator* AFileSystemLocator::GetParentDir(ADirLocator*) {
  SubclassResponsibility();
  return nullptr;
}

void AFileSystemLocator::SetName(const char*) { SubclassResponsibility(); }

Boolean AFileSystemLocator::FileExists() {
  SubclassResponsibility();
  return 0;
}

Boolean AFileSystemLocator::DirExists() {
  SubclassResponsibility();
  return 0;
}

// ---- AFileLocator

AFileLocator* AFileLocator::New() { return files->New(); }

void AFileLocator::SetManufacturer(AFileLocatorManufacturer* manufacturer) {
  files = manufacturer ? manufacturer : defaultFiles;
}

Loc_t AFileLocator::GetLocatorType() { return LOC_FILE; }

void AFileLocator::Create(ULong perms) { KYCloseFile(Open(kFileWrite | kFileCreate, perms)); }

void AFileLocator::IFileLocator() { ILocator(); }

char* AFileLocator::GetFullPathCanonical(char* buffer, Long size) {
  SubclassResponsibility();
  return emptied(buffer, size);
}

OSVolID AFileLocator::GetOSVolID() {
  SubclassResponsibility();
  return OSVolID();
}

void AFileLocator::SetUniversalPath() { SubclassResponsibility(); }

AFileLocator& AFileLocator::operator=(const AFileLocator& other) {
  // Asking another locator for its path changes nothing in it, though the interface does not say so.
  Set(fullPathOf(const_cast<AFileLocator*>(&other)).c_str(), nullptr);
  return *this;
}

fileRec_t** AFileLocator::Open(unsigned short, ULong) {
  SubclassResponsibility();
  return nullptr;
}

AFileStream* AFileLocator::OpenStream(unsigned short, ULong) {
  SubclassResponsibility();
  return nullptr;
}

void AFileLocator::SetCreatorType(ULong) {}

ULong AFileLocator::GetCreatorType() { return 0; }

void AFileLocator::SetFileType(ULong) { SubclassResponsibility(); }

ULong AFileLocator::GetFileType() { return 0; }

Long AFileLocator::GetLength() {
  SubclassResponsibility();
  return 0;
}

AFileLocator* AFileLocator::CopyAFile(ADirLocator*, const char*, Boolean) {
  SubclassResponsibility();
  return nullptr;
}

void AFileLocator::Set(const char*, const char*) { SubclassResponsibility(); }

// ---- ADirLocator

ADirLocator* ADirLocator::New() { return folders->New(); }

void ADirLocator::SetManufacturer(ADirLocatorManufacturer* manufacturer) {
  folders = manufacturer ? manufacturer : defaultFolders;
}

Loc_t ADirLocator::GetLocatorType() { return LOC_DIRECTORY; }

Boolean ADirLocator::IsEqual(ALocator* other, Boolean) { return IsEqual(other); }

OSVolID ADirLocator::GetOSVolID() {
  SubclassResponsibility();
  return OSVolID();
}

CKyList* ADirLocator::ReadDir() {
  SubclassResponsibility();
  return nullptr;
}

ADirLocator* ADirLocator::GetDir(const char*, ADirLocator* entry) {
  SubclassResponsibility();
  return entry;
}

AFileLocator* ADirLocator::GetFile(const char*, AFileLocator* entry) {
  SubclassResponsibility();
  return entry;
}

void ADirLocator::MakeFileNameValid(char*) { SubclassResponsibility(); }

ALocator* ADirLocator::ConvertToMacLocator() {
  SubclassResponsibility();
  return nullptr;
}

Boolean ADirLocator::IsTop() {
  SubclassResponsibility();
  return 0;
}

void ADirLocator::TouchDir() { SubclassResponsibility(); }

Boolean ADirLocator::TouchDirIfNeeded() {
  SubclassResponsibility();
  return 0;
}

void ADirLocator::Set(short, Long, const char*) { SubclassResponsibility(); }

void ADirLocator::Set(const char*, const char*) { SubclassResponsibility(); }

void ADirLocator::SetUnique() {
  char name[256];
  GetName(name, sizeof name);
  for (int i = 1; Exists(); ++i) {
    char candidate[64];
    std::snprintf(candidate, sizeof candidate, "%.24s%d", name, i);
    SetName(candidate);
    char held[sizeof candidate];
    // A path that has no room for a longer name is cut, and would stay taken for ever.
    if (std::strcmp(GetName(held, sizeof held), candidate) != 0) xraiseWinFileError(platform::kInvalidName, name);
  }
}
