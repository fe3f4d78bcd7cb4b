# Thin wrapper over CMake presets. `make test` and `make demo` install what is missing first.
PRESET ?= $(if $(CI),ci,default)
BUILD_DIR := build/$(PRESET)
JOBS ?= 2

.PHONY: deps configure build test test-asan bench demo app screenshots format clean

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

# The menu-bar program with its windows (Qt 6).
app: configure
	@cmake --build $(BUILD_DIR) -j$(JOBS) --target tessiva-focus-app

# Regenerates the README's pictures of the menu and every window.
screenshots: app
	@QT_QPA_PLATFORM=offscreen $(BUILD_DIR)/apps/tessiva-focus-app/tessiva-focus-app --screenshots docs/screenshots

demo: build
	@$(BUILD_DIR)/apps/tessiva-focus/tessiva-focus demo

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

clean:
	@rm -rf build
