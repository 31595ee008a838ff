// Helpers on 16.16 fixed-point values.
#pragma once

#include "core/base/KyTypes.h"

/// `*result` becomes `a` modulo `b` as fmod has it, in 16.16; a null `result` does nothing.
///
/// Raises:   "Structured Exception" when `b` is 0.
KY_API void KyFixedMod16(Long a, Long b, Long* result);

/// Splits a value into its integer part, still in 16.16 form, and its fraction; either pointer may be null. The
/// fraction is never negative: -0.25 splits into -1 and 0.75.
KY_API void KyFixedTrunc16(Long value, Long* integer, Long* fraction);
