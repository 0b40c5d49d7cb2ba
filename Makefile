# The two commands a new user needs:
#   make run    installs the build's packages, builds, and runs the desktop app when
#               there is a display (a Mac: Quillmere.app), else the live terminal view
#               (`quillmere sample --live`)
#   make test   installs the build's packages, builds, and runs the whole test suite
BUILD ?= build
JOBS ?= 2
CMAKE_FLAGS ?=

.PHONY: deps build run test bench clean

deps:
	@scripts/install-deps.sh

build: deps
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=RelWithDebInfo $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j$(JOBS)

run: build
	@if [ -d $(BUILD)/Quillmere.app ]; then \
		exec open -W $(BUILD)/Quillmere.app; \
	elif [ -n "$$DISPLAY$$WAYLAND_DISPLAY" ] && [ -x $(BUILD)/quillmere-app ]; then \
		exec $(BUILD)/quillmere-app; \
	else \
		exec $(BUILD)/quillmere sample --live; \
	fi

test: build
	cd $(BUILD) && ctest --output-on-failure -j$(JOBS)

bench: build
	@for b in $(BUILD)/*_bench; do echo "== $$b"; $$b; done

clean:
	rm -rf $(BUILD)
