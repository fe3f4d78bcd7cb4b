# Thin wrapper over CMake presets. `make test` and `make demo` install what is missing first;
# `make build` only configures and builds.
PRESET ?= default
BUILD_DIR := build/$(PRESET)
JOBS ?= 2

.PHONY: deps configure build test test-asan test-tsan bench demo dmg app screenshots format format-check clean

deps:
	@bash scripts/install-deps.sh

configure:
	@cmake --preset $(PRESET) >/dev/null

build: configure
	@cmake --build $(BUILD_DIR) -j$(JOBS)

test: deps
	@$(MAKE) --no-print-directory build
	@bash scripts/run-tests.sh $(BUILD_DIR) $(JOBS)

test-asan:
	@$(MAKE) --no-print-directory test PRESET=asan

# The threaded tests only, under ThreadSanitizer.
test-tsan: deps
	@cmake --preset tsan >/dev/null
	@cmake --build --preset tsan -j$(JOBS)
	@ctest --preset tsan -j$(JOBS)

bench: build
	@bash scripts/run-benchmarks.sh $(BUILD_DIR)

# The menu-bar program with its windows (Qt 6).
app: deps
	@$(MAKE) --no-print-directory configure
	@cmake --build $(BUILD_DIR) -j$(JOBS) --target tessiva-focus-app

# Regenerates the README's pictures of the menu and every window.
screenshots: app
	@QT_QPA_PLATFORM=offscreen $(BUILD_DIR)/apps/tessiva-focus-app/tessiva-focus-app --screenshots docs/screenshots

demo: deps
	@$(MAKE) --no-print-directory build
	@$(BUILD_DIR)/apps/tessiva-focus/tessiva-focus demo

# The app bundle in a drag-to-Applications disk image; Apple's tools build it on a Mac only.
dmg: build
	@if [ "$$(uname -s)" != Darwin ]; then echo "make dmg: disk images are built on macOS" >&2; exit 1; fi
	@cd $(BUILD_DIR) && cpack -G DragNDrop

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

format-check:
	@bash scripts/check-format.sh

clean:
	@rm -rf build
