# VerrinPlus: `make run` and `make test` work on a fresh Debian 12 machine (as root or with sudo).
BUILD_DIR ?= build
JOBS ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_FLAGS ?=

.PHONY: all deps configure build run test bench format demo clean package check-package check-asan fuzz

all: build

deps:
	@bash scripts/install-deps.sh

configure: deps
	@cmake -S . -B $(BUILD_DIR) $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j $(JOBS) -- --no-print-directory

run: build
	@bash scripts/run.sh $(BUILD_DIR)/src/verrinplus $(ARGS)

test: build
	@cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS) --timeout 600

bench: build
	@bash scripts/bench.sh $(BUILD_DIR)

package: build
	@cd $(BUILD_DIR) && cpack -G DEB

check-package: package
	@bash scripts/check-package.sh $(BUILD_DIR)

check-asan: deps
	@bash scripts/check-asan.sh

fuzz: deps
	@bash scripts/fuzz.sh $(FUZZ_SECONDS)

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

demo: build
	@bash scripts/demo.sh $(BUILD_DIR)

clean:
	@rm -rf $(BUILD_DIR)
