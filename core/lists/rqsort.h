// In-place sort of fixed-size elements.
#pragma once

#include <cstddef>

#include "core/base/KyTypes.h"

/// Sorts `count` elements of `size` bytes at `base`. Equal elements end in any order.
///
/// `cmp` is given the addresses of two elements, of which none is ever outside the block; both lie in it, so what it
/// keeps of them does not outlive the call. Whatever it answers, and if it raises, the block still holds the same
/// elements, in some order.
///
/// Source:   quicksort by Hoare's partition on a median of three or nine, insertion sort for short stretches, and heaps
///           where the partitions turn out lopsided (Musser, "Introspective Sorting and Selection Algorithms", 1997).
KY_API void rqsort(void* base, std::size_t count, std::size_t size, int (*cmp)(void*, void*));
