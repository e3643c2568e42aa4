# The ways into the project. Building and testing themselves are CMake's, see CMakePresets.json.

JOBS ?= $(shell nproc)
export JOBS

SECONDS ?= 60

.PHONY: demo check fuzz stress cross bench format format-check tidy clean

# Builds the programs and runs the main job in a scratch profile.
demo:
	scripts/install-dependencies build
	scripts/build release -DTVK_BUILD_TESTS=OFF
	scripts/demo build/release

# Builds the optimised and the sanitized programs and runs every test in both.
check:
	scripts/install-dependencies build test
	scripts/check release asan

# Fuzzes each target for so many seconds, and stops at the first finding. TARGETS=name takes some alone.
fuzz:
	scripts/install-dependencies build test fuzz
	scripts/build fuzz
	scripts/fuzz build/fuzz $(SECONDS) $(TARGETS)

# Measures beside libcrypto, SQLite and other stores, prints the tables, and writes docs/performance.md and its charts.
bench:
	scripts/install-dependencies build bench
	scripts/build bench
	scripts/bench build/bench

# Builds for the module's own platform and for 32 bits, and checks what can be checked of them here.
cross:
	scripts/install-dependencies build test
	scripts/check-cross

# Kills, many processes, threads, forks, a long load and failing calls, in full: at most a quarter of an hour.
stress:
	scripts/install-dependencies build test
	scripts/build release -DTVK_BUILD_TESTS=ON
	scripts/stress build/release

format:
	scripts/install-dependencies style
	scripts/sources | xargs -0 -r clang-format -i

format-check:
	scripts/install-dependencies style
	scripts/sources | xargs -0 -r clang-format --dry-run -Werror

tidy:
	scripts/install-dependencies build test style
	scripts/tidy build/release

clean:
	rm -rf build
