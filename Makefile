# Front door for newcomers and CI. Every target that builds installs what it is missing first
# (scripts/bootstrap, per target: a test build needs no benchmark or screenshot tools).
SHELL := /bin/bash
JOBS ?= $(shell nproc)

TEST_DIR := build/test
RELEASE_DIR := build/release
PACKAGE_DIR := build/package
# A compiler cache, when the machine has one, makes rebuilds after small changes cheap.
CCACHE := $(shell command -v ccache 2>/dev/null)
LAUNCHER := $(if $(CCACHE),-DCMAKE_CXX_COMPILER_LAUNCHER=$(CCACHE))

.PHONY: all bootstrap bootstrap-% build test bench run screenshots package clean

all: build

bootstrap: bootstrap-build

bootstrap-%:
	@scripts/bootstrap $*

# Debug build with AddressSanitizer and UndefinedBehaviorSanitizer: every test run hunts memory errors too.
# The benchmarks are built by `make bench`, in the release tree, not here.
$(TEST_DIR)/build.ninja: | bootstrap-test
	cmake -S . -B $(TEST_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Debug -DVEXO_SANITIZE=ON -DVEXO_WERROR=ON -DVEXO_BUILD_BENCH=OFF $(LAUNCHER)

$(RELEASE_DIR)/build.ninja: | bootstrap-build
	cmake -S . -B $(RELEASE_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release -DVEXO_BUILD_TESTS=OFF $(LAUNCHER)

build: bootstrap-build $(RELEASE_DIR)/build.ninja
	cmake --build $(RELEASE_DIR) -j $(JOBS)

test: bootstrap-test $(TEST_DIR)/build.ninja
	cmake --build $(TEST_DIR) -j $(JOBS)
	cd $(TEST_DIR) && QT_QPA_PLATFORM=offscreen ctest --output-on-failure -j $(JOBS) --timeout 300

bench: bootstrap-bench build
	scripts/run-benchmarks $(RELEASE_DIR)

run: bootstrap-run build
	scripts/run $(RELEASE_DIR)

screenshots: bootstrap-screenshots build
	scripts/screenshots $(RELEASE_DIR)

# The .deb of both programs, in build/package; installs with apt-get install ./build/package/vexo-tasks_*.deb
# Only what goes into the package is built for it (no benchmarks).
package: bootstrap-package $(RELEASE_DIR)/build.ninja
	cmake --build $(RELEASE_DIR) -j $(JOBS) --target vexo-tasks vexo-server vexo_desktop_files
	rm -f $(PACKAGE_DIR)/*.deb
	cd $(RELEASE_DIR) && cpack -G DEB -B $(abspath $(PACKAGE_DIR))
	@ls $(PACKAGE_DIR)/*.deb

clean:
	rm -rf build
