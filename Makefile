# Front end over CMake. `make` builds build/trugtool, `make test` runs every test,
# `make asan` runs them under AddressSanitizer and UndefinedBehaviorSanitizer,
# `make demo` runs the program on the sample tables in examples/.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
MAKEFLAGS += --no-print-directory

PREFIX ?= /usr/local

.PHONY: all build test asan demo examples install clean

all: build

build:
	@cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
	@cmake --build build -j $(JOBS)

test: build
	TZ=UTC ./build/trug_tests

asan:
	@cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DTRUG_SANITIZE=ON >/dev/null
	@cmake --build build-asan -j $(JOBS)
	TZ=UTC ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ./build-asan/trug_tests

examples: build
	./build/make_examples examples

demo: build
	@sh tools/demo.sh ./build/trugtool

# Installs build/trugtool and its manual under $(PREFIX); DESTDIR stages the install.
install: build
	cmake --install build --prefix $(PREFIX)

clean:
	rm -rf build build-asan
