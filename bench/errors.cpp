// Raising an error, adding what each layer knows and wording the result, beside bare and nested standard exceptions.
#include <benchmark/benchmark.h>

#include <exception>
#include <stdexcept>
#include <string>

#include "core/error/Guarded.h"
#include "core/utils/MetaBase.h"

#if __has_include(<boost/exception/all.hpp>)
#include <boost/exception/all.hpp>
#define HAS_BOOST_EXCEPTION 1
#endif

using namespace ky;

namespace {

const char* const kFile = "/Volumes/Media/Project 12/bins/reel_0042.bin";

struct Guard {
  int* depth;
  explicit Guard(int* counter) : depth(counter) { ++*depth; }
  ~Guard() { --*depth; }
};

int depth = 0;
volatile bool failing = true;

/// Calls `fail` below frames that each hold something to destroy.
template <class Fail>
[[gnu::noinline]] void nest(int frames, Fail fail) {
  const Guard guard(&depth);
  if (frames > 1) {
    nest(frames - 1, fail);
  } else if (failing) {
    fail();
  }
  asm volatile("" ::: "memory");
}

void runtimeError(benchmark::State& state) {
  for (auto _ : state) {
    try {
      nest(static_cast<int>(state.range(0)), [] { throw std::runtime_error("DISK_EOF: no more data"); });
    } catch (const std::exception& exception) {
      benchmark::DoNotOptimize(exception.what());
    }
  }
}
BENCHMARK(runtimeError)->Arg(1)->Arg(5)->Arg(20);

void raise(benchmark::State& state) {
  for (auto _ : state) {
    guarded([&] { nest(static_cast<int>(state.range(0)), [] { +XError("DISK_EOF", "str filename", kFile, 0); }); },
            [](XError& caught) { benchmark::DoNotOptimize(caught.GetCode()); });
  }
}
BENCHMARK(raise)->Arg(1)->Arg(5)->Arg(20);

void raiseFromPool(benchmark::State& state) {
  ErrorStackObj::InterruptAllocator pool;
  CustomAllocator* const before = ErrorStackObj::SetAllocator(&pool);
  raise(state);
  ErrorStackObj::SetAllocator(before);
}
BENCHMARK(raiseFromPool)->Arg(5);

/// Five frames, then three layers that each add a code and a parameter, then the words of all four.
void nestedContexts(benchmark::State& state) {
  using Text = std::string;
  const auto word = [](auto&& self, const std::exception& exception, Text& text) -> void {
    text += exception.what();
    try {
      std::rethrow_if_nested(exception);
    } catch (const std::exception& inner) {
      text += " <- ";
      self(self, inner, text);
    }
  };
  for (auto _ : state) {
    try {
      try {
        try {
          try {
            nest(5, [] { throw std::runtime_error("SYS_ERROR status=" + std::to_string(38)); });
          } catch (...) {
            std::throw_with_nested(std::runtime_error(Text("DISK_EOF filename=") + kFile));
          }
        } catch (...) {
          std::throw_with_nested(std::runtime_error("DOMAIN_COPYOUT_FAILED object=" + std::to_string(4711)));
        }
      } catch (...) {
        std::throw_with_nested(std::runtime_error(Text("PROJECT_OPEN_FAILED name=") + "Project 12"));
      }
    } catch (const std::exception& exception) {
      Text text;
      word(word, exception, text);
      benchmark::DoNotOptimize(text);
    }
  }
}
BENCHMARK(nestedContexts);

#ifdef HAS_BOOST_EXCEPTION
struct BoostError : virtual boost::exception, virtual std::exception {};

void boostContexts(benchmark::State& state) {
  using FileInfo = boost::error_info<struct FileTag, std::string>;
  using ObjectInfo = boost::error_info<struct ObjectTag, int>;
  using NameInfo = boost::error_info<struct NameTag, std::string>;
  for (auto _ : state) {
    try {
      try {
        try {
          try {
            nest(5, [] { throw BoostError() << boost::errinfo_errno(38); });
          } catch (boost::exception& exception) {
            exception << FileInfo(kFile);
            throw;
          }
        } catch (boost::exception& exception) {
          exception << ObjectInfo(4711);
          throw;
        }
      } catch (boost::exception& exception) {
        exception << NameInfo("Project 12");
        throw;
      }
    } catch (const boost::exception& exception) {
      benchmark::DoNotOptimize(boost::diagnostic_information(exception));
    }
  }
}
BENCHMARK(boostContexts);
#endif

void contexts(benchmark::State& state) {
  for (auto _ : state) {
    guarded(
        [] {
          reraisedAs(
              "PROJECT_OPEN_FAILED",
              [] {
                reraisedAs(
                    "DOMAIN_COPYOUT_FAILED",
                    [] {
                      reraisedAs(
                          "DISK_EOF", [] { nest(5, [] { +XError("SYS_ERROR", "int status", 38, 0); }); },
                          "str filename", kFile, 0);
                    },
                    "long object", 4711, 0);
              },
              "str name", "Project 12", 0);
        },
        [] {
          std::string text;
          char line[256];
          for (int level = ESGetTopLevel(); level > 0; --level) {
            ESExpandString(line, sizeof line, nullptr, level);
            text += line;
            if (level > 1) text += " <- ";
          }
          benchmark::DoNotOptimize(text);
        });
  }
}
BENCHMARK(contexts);

/// Runs a step that costs next to nothing, the way `region` makes it run.
template <class Region>
void overSteps(benchmark::State& state, Region region) {
  int runs = 0;
  for (auto _ : state) {
    region([&] {
      ++runs;
      asm volatile("" ::: "memory");
    });
  }
  benchmark::DoNotOptimize(runs);
}

/// What the region costs is what it takes longer than the step alone.
void stepAlone(benchmark::State& state) {
  overSteps(state, [](auto step) { step(); });
}
void regionWithoutError(benchmark::State& state) {
  overSteps(state, [](auto step) { guarded(step, [] {}); });
}
BENCHMARK(stepAlone);
BENCHMARK(regionWithoutError);

void copyOfAnError(benchmark::State& state) {
  const XError error("DISK_EOF", "str filename", kFile, 0);
  for (auto _ : state) {
    XError copy(error);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(copyOfAnError);

}  // namespace

int main(int argc, char** argv) {
  MBInit();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
