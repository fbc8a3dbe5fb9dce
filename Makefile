# Two commands on a fresh Debian 12 machine: `make demo` and `make test`.
SHELL := /bin/bash
PYTHON := /usr/bin/python3
BUILD ?= build
SANITIZE_BUILD ?= build-sanitize
TSAN_BUILD ?= build-tsan
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
FUZZ_TARGETS := xml_parser sprite_database sprite_sheet dragonbones png_decode
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)

# ccache shares compiled objects between clones of this repository.
export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_SLOPPINESS := pch_defines,time_macros,include_file_mtime,include_file_ctime
export CCACHE_NOHASHDIR := 1

PREFIX ?= /usr/local

.PHONY: install all bootstrap build test test-cpp test-python test-sanitize test-tsan fuzz demo bench clean

all: build

bootstrap:
	@scripts/bootstrap

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE)

build: bootstrap $(BUILD)/build.ninja
	cmake --build $(BUILD) -j $(JOBS)

test: build
	scripts/run-tests $(BUILD)

test-sanitize: bootstrap
	cmake -S . -B $(SANITIZE_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DENGINE_SANITIZE=ON -DENGINE_BUILD_BENCH=OFF
	cmake --build $(SANITIZE_BUILD) -j $(JOBS)
	SANITIZE=1 scripts/run-tests $(SANITIZE_BUILD)

# The loader, logging and threading tests under ThreadSanitizer (scripts/run-tsan).
test-tsan: bootstrap
	cmake -S . -B $(TSAN_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DENGINE_TSAN=ON -DENGINE_BUILD_BENCH=OFF
	cmake --build $(TSAN_BUILD) -j $(JOBS) --target core_tests core_script_tests graphics_tests libcore_extension libwindow_extension libgraphics_extension
	scripts/run-tsan $(TSAN_BUILD)

# Every libFuzzer target of tests/fuzz for FUZZ_SECONDS each (clang, ASan + UBSan).
fuzz:
	@scripts/bootstrap fuzz
	cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
	  -DENGINE_FUZZ=ON -DENGINE_BUILD_TESTS=OFF -DENGINE_BUILD_BENCH=OFF
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target $(addprefix fuzz_,$(FUZZ_TARGETS))
	FUZZ_SECONDS=$(FUZZ_SECONDS) scripts/run-fuzz $(FUZZ_BUILD) $(FUZZ_TARGETS)

# The modules and the engine's libraries into PREFIX/lib/python3.11/site-packages
# (a venv's prefix is the venv itself).
install: build
	cmake --install $(BUILD) --prefix $(PREFIX) --component python

# The showcase, then the small game (played by its autopilot when there is no display).
demo: build
	PYTHONPATH=$(BUILD)/python scripts/with-display $(PYTHON) examples/showcase.py
	PYTHONPATH=$(BUILD)/python scripts/with-display $(PYTHON) examples/shooter.py

bench: build
	scripts/run-bench $(BUILD)

clean:
	rm -rf $(BUILD) $(SANITIZE_BUILD) $(TSAN_BUILD) $(FUZZ_BUILD) out
