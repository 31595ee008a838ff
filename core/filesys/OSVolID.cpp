#include "core/filesys/OSVolID.h"

#include <cstring>

using namespace ky;

namespace {
constinit VolumeServices services;
}  // namespace

void ky::installVolumeServices(const VolumeServices& newServices) { services = newServices; }

const VolumeServices& ky::volumeServices() { return services; }

void OSVolID::Set(const void* number) { std::memcpy(&value, number, sizeof value); }

void OSVolID::Get(void* number) const { std::memcpy(number, &value, sizeof value); }

char* OSVolID::GetAsString(char* buffer, int size) const {
  if (size > 0) *buffer = 0;
  if (size > 0 && services.mountPath) services.mountPath(*this, buffer, size);
  return buffer;
}

int OSVolID::Compare(const OSVolID& a, const OSVolID& b) { return (a.value > b.value) - (a.value < b.value); }
