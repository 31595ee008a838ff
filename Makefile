# The commands of every day. Each installs the Debian packages it needs and is quick when all is there.
JOBS ?= $(shell nproc)

.PHONY: demo test check lint format bench docs clean

demo:    ## build the programs and run them on an example edit list
	@scripts/setup build
	@scripts/build dev reel kydoc
	@scripts/demo build/dev

test:    ## everything: plain, under sanitizers, fuzzing, format, the installed package
	@scripts/setup build test
	@JOBS=$(JOBS) scripts/test

check:   ## the plain tests alone, for the time between edits
	@scripts/setup build test
	@scripts/build dev
	@ctest --preset dev -j $(JOBS)

lint:    ## clang-format over the whole tree, clang-tidy over the library and the programs
	@scripts/setup build test
	@scripts/lint

format:  ## rewrite the sources in the house format
	@scripts/setup test
	@scripts/sources | xargs clang-format -i

bench:   ## build and run the benchmarks beside their peers (BENCH=name for one subject)
	@scripts/setup build bench
	@scripts/bench $(BENCH)

clean:
	rm -rf build
