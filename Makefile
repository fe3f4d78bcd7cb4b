# Thin wrapper over CMake presets. `make test` and `make demo` install what is missing first.
PRESET ?= $(if $(CI),ci,default)
BUILD_DIR := build/$(PRESET)
JOBS ?= 2

.PHONY: deps configure build test test-asan bench demo dmg format clean

deps:
	@bash scripts/install-deps.sh

configure: deps
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j$(JOBS)

test: build
	@bash scripts/run-tests.sh $(BUILD_DIR) $(JOBS)

test-asan:
	@$(MAKE) test PRESET=asan

bench: build
	@bash scripts/run-benchmarks.sh $(BUILD_DIR)

demo: build
	@$(BUILD_DIR)/apps/tessiva-focus/tessiva-focus demo

# The app bundle in a drag-to-Applications disk image; Apple's tools build it on a Mac only.
dmg: build
	@if [ "$$(uname -s)" != Darwin ]; then echo "make dmg: disk images are built on macOS" >&2; exit 1; fi
	@cd $(BUILD_DIR) && cpack -G DragNDrop

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	@rm -rf build
