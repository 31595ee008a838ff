// Tests of what the library does before it has been brought up, or with tables that only a fresh process has empty.
#pragma once

#include <gtest/gtest.h>

namespace ky::test {

/// Fatal handler of the tests: raises FATAL_ERROR.
unsigned char raiseFatal(const char* msg, const char* file, int line);

/// Tells whether this process was started for a bare test; `main` asks first.
bool isBareProcess(int argc, char** argv);

/// Runs `body` here in a bare process, else the current test in a child that is one.
void inBareProcess(void (*body)());

}  // namespace ky::test

/// A test whose body runs in a process of its own that did not start the library.
#define BARE_TEST(suite, name)                                          \
  static void suite##_##name##_body();                                  \
  TEST(suite, name) { ky::test::inBareProcess(suite##_##name##_body); } \
  static void suite##_##name##_body()
