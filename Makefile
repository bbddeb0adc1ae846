# The front door. CMake presets stand beneath; every target works from a fresh clone on Debian.
JOBS ?= $(shell nproc)
PREFIX ?= /usr/local
FUZZ_SECONDS ?= 60
DEMO_ARGS ?=
BENCH_ARGS ?=

# Object files are found again by ccache in another clone of this tree.
export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_NOHASHDIR := 1

configure = cmake --preset $(1) --log-level=WARNING
build = cmake --build --preset $(1) -j $(JOBS)
installed := lumo lumomedia lumomedia_seal lumo_written
define sanitized
$(call configure,$(1))
$(call build,$(1))
scripts/no_aslr.sh ctest --preset $(1) -j $(JOBS)
endef

.DEFAULT_GOAL := help
.PHONY: help demo test check asan tsan attack fuzz bench install deb format docs clean

help: ## Show this list
	@sed -n 's/^\([a-z ]*\):.*## \(.*\)/  make \1\t\2/p' $(firstword $(MAKEFILE_LIST)) | expand -t 20

demo: ## Build the lumo program and watch files and streams travel over loopback (DEMO_ARGS="FILE")
	@scripts/setup.sh base
	$(call configure,default)
	$(call build,default) --target lumo
	build/default/tools/lumo/lumo demo $(DEMO_ARGS)

test: ## Build everything and run the tests
	@scripts/setup.sh base test
	@scripts/setup_browser.sh
	$(call configure,default)
	$(call build,default)
	ctest --preset default -j $$(($(JOBS) + 2)) # many only wait

check: ## Format, lint, layers, headers and a Clang build in which every warning is an error
	@scripts/setup.sh base bench check
	@scripts/check.sh $(JOBS)

asan tsan: ## Run all tests under the address and undefined-behaviour sanitizers, or the thread sanitizer
	@scripts/setup.sh base test check
	@scripts/setup_browser.sh
	$(call sanitized,$@)
	$(if $(filter asan,$@),$(call sanitized,asan-gcc))

attack: ## Attack the lumo program as strangers would, and print what each attack cost it
	@scripts/setup.sh base test
	$(call configure,default)
	$(call build,default) --target lumo
	tests/attack/run.py build/default/tools/lumo/lumo --all

fuzz: ## Run each fuzz target for FUZZ_SECONDS (60)
	@scripts/setup.sh base check
	$(call configure,fuzz)
	$(call build,fuzz)
	scripts/fuzz.sh build/fuzz/fuzz $(FUZZ_SECONDS)

bench: ## Build in release mode and compare with other transports (BENCH_ARGS="...")
	@scripts/setup.sh base bench
	$(call configure,bench)
	$(call build,bench) --target lumo_bench
	build/bench/bench/lumo_bench $(BENCH_ARGS)

install: ## Install what make demo has built, stripped, under PREFIX (/usr/local): lumo, libraries, headers, manual
	@scripts/setup.sh base
	$(call configure,default)
	$(call build,default) --target $(installed)
	cmake --install build/default --strip --prefix $(PREFIX)
	@if [ -z "$$DESTDIR" ] && [ "$$(id -u)" = 0 ]; then ldconfig; fi

deb: ## Make Debian packages of what make demo has built, in build/packages
	@scripts/setup.sh base deb
	$(call configure,default)
	$(call build,default) --target $(installed)
	rm -rf build/packages
	cpack --config build/default/CPackConfig.cmake -B build/packages
	rm -rf build/packages/_CPack_Packages
	lintian --fail-on error build/packages/*.deb

format: ## Format every C++ file
	@scripts/setup.sh check
	scripts/format.sh

docs: ## Check that what the documents name and link to exists
	@command -v python3 >/dev/null || scripts/setup.sh test
	scripts/check_docs.py

clean: ## Remove everything that was built
	rm -rf build
