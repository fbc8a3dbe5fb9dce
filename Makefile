# Two commands on a fresh Debian 12 machine: `make demo` and `make test`.
SHELL := /bin/bash
PYTHON := /usr/bin/python3
BUILD ?= build
SANITIZE_BUILD ?= build-sanitize
BUILD_TYPE ?= RelWithDebInfo
JOBS ?= $(shell nproc)

# ccache shares compiled objects between clones of this repository.
export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_SLOPPINESS := pch_defines,time_macros,include_file_mtime,include_file_ctime
export CCACHE_NOHASHDIR := 1

.PHONY: all bootstrap build test test-cpp test-python test-sanitize demo bench clean

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

demo: build
	PYTHONPATH=$(BUILD)/python scripts/with-display $(PYTHON) examples/showcase.py

bench: build
	scripts/run-bench $(BUILD)

clean:
	rm -rf $(BUILD) $(SANITIZE_BUILD) out
