# Front door for newcomers and CI. Every target that builds installs what is missing first.
SHELL := /bin/bash
JOBS ?= $(shell nproc)

TEST_DIR := build/test
RELEASE_DIR := build/release
# A compiler cache, when the machine has one, makes rebuilds after small changes cheap.
CCACHE := $(shell command -v ccache 2>/dev/null)
LAUNCHER := $(if $(CCACHE),-DCMAKE_CXX_COMPILER_LAUNCHER=$(CCACHE))

.PHONY: all bootstrap build test bench run clean

all: build

bootstrap:
	@scripts/bootstrap

# Debug build with AddressSanitizer and UndefinedBehaviorSanitizer: every test run hunts memory errors too.
$(TEST_DIR)/build.ninja: | bootstrap
	cmake -S . -B $(TEST_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVEXO_SANITIZE=ON -DVEXO_WERROR=ON $(LAUNCHER)

$(RELEASE_DIR)/build.ninja: | bootstrap
	cmake -S . -B $(RELEASE_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release -DVEXO_BUILD_TESTS=OFF $(LAUNCHER)

build: bootstrap $(RELEASE_DIR)/build.ninja
	cmake --build $(RELEASE_DIR) -j $(JOBS)

test: bootstrap $(TEST_DIR)/build.ninja
	cmake --build $(TEST_DIR) -j $(JOBS)
	cd $(TEST_DIR) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS) --timeout 300

bench: build
	scripts/run-benchmarks $(RELEASE_DIR)

clean:
	rm -rf build

run: build
	scripts/run $(RELEASE_DIR)
