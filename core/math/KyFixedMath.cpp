#include "core/math/KyFixedMath.h"

#include "core/math/DivideFault.h"

using namespace ky;

namespace {

constexpr Long kIntegerPart = ~Long{0xFFFF};

}  // namespace

void KyFixedMod16(Long a, Long b, Long* result) {
  if (!result) return;
  if (b == 0) raiseDivideByZero(__builtin_return_address(0));
  *result = static_cast<Long>(Int64{a} % b);  // the scale of both cancels
}

void KyFixedTrunc16(Long value, Long* integer, Long* fraction) {
  if (integer) *integer = value & kIntegerPart;
  if (fraction) *fraction = value & 0xFFFF;
}
