// Random edit lists of every shape, and a text by which two lists can be compared.
#pragma once

#include <random>
#include <string>

#include "apps/reel/CmxEdl.h"

namespace reel::test {

/// At least one event; pairs, keys, speeds, comments, modes that switch at 30 frames per second.
EdlText someEdl(std::mt19937& random);

/// Every field of a list.
std::string described(const EdlText& list);

/// The stored classes, for whichever test comes first.
void registerOnce();

}  // namespace reel::test
