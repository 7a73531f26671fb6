# The two commands are `make demo` and `make test`; `make help` lists all.
.DEFAULT_GOAL := help
.PHONY: help demo gallery test check crash-test killed-imports hostile stress arm64 bench coverage fuzz package try-packages clean

# `make test PRESET=ci` takes every warning for an error.
PRESET ?= test

help: ## say what there is
	@awk -F ':.*## ' '/^[a-z-]+:.*## / { printf "make %-14s %s\n", $$1, $$2 }' Makefile

demo: ## install, build, import media and show every method; PHOTOS=DIR takes your own
	@scripts/demo.sh

gallery: ## look at the demo's library, or at LIBRARY=DIR, in the browser
	@scripts/gallery.sh

test: ## install, build and run all tests
	@scripts/install_dependencies.sh test
	@scripts/test.sh $(PRESET)

check: ## run what takes long: all tests under sanitizers, valgrind, static analysis
	@scripts/install_dependencies.sh test check
	@scripts/check.sh

crash-test: ## kill 10,000 processes, fail every call and lose power at every moment while libraries change
	@scripts/install_dependencies.sh test
	@scripts/crash_test.sh

killed-imports: ## import 100,000 files, killed 50 times on the way; each is there once
	@scripts/install_dependencies.sh test
	@scripts/killed_imports.sh

hostile: ## ask everything of bombs, disguises and 20,000 damaged files, through the real worker
	@scripts/install_dependencies.sh test
	@scripts/hostile_test.sh

stress: ## call every method from 64 callers at once, 10,000 times; end 1,000 engines at work
	@scripts/install_dependencies.sh test
	@scripts/stress_test.sh

bench: ## measure beside the rivals, with ratios
	@scripts/install_dependencies.sh bench
	@scripts/bench.sh

arm64: ## build for arm64 and run the tests there under qemu-user, in a fresh Debian of SUITE (bookworm)
	@scripts/in_debian.sh --arch arm64 $(or $(SUITE),bookworm) scripts/test_arm64.sh

coverage: ## line coverage of the core by its tests
	@scripts/install_dependencies.sh check
	@scripts/coverage.sh

fuzz: ## fuzz whatever is read from others or asked of the catalogue; FUZZ_SECONDS each (600)
	@scripts/install_dependencies.sh check
	@scripts/fuzz.sh

package: ## build Debian packages of this suite into build/packages
	@scripts/install_dependencies.sh package
	@scripts/package.sh

try-packages: ## use the packages in fresh Debians, SUITE or both (as root): install, upgrade, purge
	@ARCH= scripts/install_dependencies.sh demo package
	@scripts/try_packages.sh $(SUITE)

clean: ## remove what was built and the demo's output
	@rm -rf build demo-output
