// One key with its alias.
#pragma once

#include "core/base/AObject.h"
#include "core/lists/AliasSpec.h"

/// Keeps a copy of how the alias is tied and, when there are data with it, of their bytes.
class KY_API AAssociation : public AObject {
  KY_CLASS(AAssociation, AObject)

 public:
  /// Raises:   MEM_OUT_OF_MEMORY, with an association that stood already as it was.
  static AAssociation* New(Long key, const aliasSpec_struct& spec);
  void IAssociation(Long key, const aliasSpec_struct& spec);

  AObject* Copy() override;

  /// `spec.data` stays valid as long as the association, if it has bytes; otherwise it is what was given.
  void GetAlias(Long& key, aliasSpec_struct& spec) const;

 protected:
  AAssociation() = default;
  ~AAssociation() override;

 private:
  static constexpr LongPtr kInside = 16;

  Long iKey = 0;
  aliasSpec_struct iSpec;
  char iBytes[kInside] = {};
  void* iBlock = nullptr;  ///< the bytes, when they are more than fit inside

  static LongPtr bytesOf(const aliasSpec_struct& spec) { return spec.data ? spec.dataLength : 0; }
};
