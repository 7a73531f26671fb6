# The two commands are `make demo` and `make test`; `make help` lists all.
.DEFAULT_GOAL := help
.PHONY: help demo test crash-test bench coverage fuzz clean

help: ## say what there is
	@awk -F ':.*## ' '/^[a-z-]+:.*## / { printf "make %-10s %s\n", $$1, $$2 }' Makefile

demo: ## install, build, import media and show every method; PHOTOS=DIR takes your own
	@scripts/demo.sh

test: ## install, build and run all tests
	@scripts/install_dependencies.sh
	@scripts/test.sh release

crash-test: ## kill 2,000 processes and fail every call to the system while libraries change
	@scripts/install_dependencies.sh
	@scripts/crash_test.sh

bench: ## measure beside the rivals, with ratios
	@scripts/install_dependencies.sh
	@scripts/bench.sh

coverage: ## line coverage of the core by its tests
	@scripts/install_dependencies.sh
	@scripts/coverage.sh

fuzz: ## fuzz the decoder and the dispatcher, FUZZ_SECONDS each (600)
	@scripts/install_dependencies.sh
	@scripts/fuzz.sh

clean: ## remove what was built and the demo's output
	@rm -rf build demo-output
