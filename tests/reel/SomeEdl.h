// Random edit lists of every shape, and a text by which two lists can be compared.
#pragma once

#include "apps/reel/CmxEdl.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Test.h"

namespace reel::test {

/// At least one event; pairs, keys, speeds, comments, modes that switch at 30 frames per second.
EdlText someEdl(std::mt19937& random);

/// The text of a list of so many cuts.
std::string cuts(int events);

/// Every field of a list.
std::string described(const EdlText& list);

/// The stored classes, for whichever test comes first.
void registerOnce();

}  // namespace reel::test
