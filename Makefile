# Front end over CMake. `make` builds build/trugtool, `make test` runs every test,
# `make check-deep` the long sweeps of killed runs and damaged tables,
# `make asan` runs them under AddressSanitizer and UndefinedBehaviorSanitizer,
# `make demo` runs the program on the sample tables in examples/.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
MAKEFLAGS += --no-print-directory

PREFIX ?= /usr/local

FUZZ_TARGETS = table memo calc cond html program
FUZZ_SECONDS ?= 60

.PHONY: all configure build test check-deep asan demo examples install fuzz fuzz-corpus bench bench-big clean

all: build

configure:
	@cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null

# The program alone: a user who wants it does not wait for the tests.
build: configure
	@cmake --build build -j $(JOBS) --target trugtool

test: configure
	@cmake --build build -j $(JOBS) --target trug_tests
	TZ=UTC ./build/trug_tests

# Kills every changing command at each of its changes of a file and at random
# moments, and runs damaged tables with random parameters for a minute (some minutes
# in all); `make test` runs a handful of each.
check-deep: configure
	@cmake --build build -j $(JOBS) --target trug_tests
	TZ=UTC TRUG_DEEP=1 ./build/trug_tests --gtest_filter='Killed.*:Runaway.*:Concurrency.*'

asan:
	@cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DTRUG_SANITIZE=ON >/dev/null
	@cmake --build build-asan -j $(JOBS)
	TZ=UTC ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ./build-asan/trug_tests

examples: configure
	@cmake --build build -j $(JOBS) --target make_examples
	./build/make_examples examples

demo: build
	@sh tools/demo.sh ./build/trugtool

# Times the release program on generated tables of 100,000 and 1,000,000 records,
# kept in build-bench/, beside cat, awk, sort, cp and other DBF readers, orders of
# 300,000 keys in awkward shapes, and counts system calls (bench/README.md).
# bench-big adds a table of 24,000,000 records (2.5 GB of disk, some 20 minutes).
bench: build
	@sh bench/run.sh ./build/trugtool

bench-big: build
	@BIG=1 sh bench/run.sh ./build/trugtool

# Builds the libFuzzer targets into build-fuzz/ and runs each for FUZZ_SECONDS,
# starting from the committed corpus; new inputs collect in build-fuzz/corpus/.
fuzz:
	@cmake -S . -B build-fuzz -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTRUG_FUZZ=ON >/dev/null
	@cmake --build build-fuzz -j $(JOBS) --target $(addprefix fuzz_,$(FUZZ_TARGETS))
	@for t in $(FUZZ_TARGETS); do \
	  mkdir -p build-fuzz/corpus/$$t build-fuzz/crashes/$$t; \
	  echo "== fuzz_$$t for $(FUZZ_SECONDS) s"; \
	  ./build-fuzz/fuzz_$$t -max_total_time=$(FUZZ_SECONDS) -max_len=8192 -timeout=10 -rss_limit_mb=1024 \
	    -artifact_prefix=$(CURDIR)/build-fuzz/crashes/$$t/ build-fuzz/corpus/$$t tests/fuzz/corpus/$$t \
	    > build-fuzz/fuzz_$$t.log 2>&1 || { tail -30 build-fuzz/fuzz_$$t.log; exit 1; }; \
	  tail -3 build-fuzz/fuzz_$$t.log; \
	done

# Writes the seed inputs of the fuzz targets again.
fuzz-corpus: configure
	@cmake --build build -j $(JOBS) --target make_fuzz_corpus
	./build/make_fuzz_corpus tests/fuzz/corpus

# Installs build/trugtool and its manual under $(PREFIX); DESTDIR stages the install.
install: build
	cmake --install build --prefix $(PREFIX)

clean:
	rm -rf build build-asan build-fuzz
