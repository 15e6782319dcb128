# Every target sets up what it needs on a Debian machine with git, python3 and make; a second run repeats nothing.

SHELL := /bin/sh
.DEFAULT_GOAL := help
.DELETE_ON_ERROR:
MAKEFLAGS += --no-builtin-rules

# Found before the environment's own comes first in PATH.
ifeq ($(origin PYTHON),undefined)
PYTHON := $(or $(shell command -v python3),python3)
endif
JOBS ?= $(shell nproc)
PYTEST_ARGS ?=
BENCH_ARGS ?=
export PYTHON
export CMAKE_BUILD_PARALLEL_LEVEL := $(JOBS)
# The tools of the environment come first, so that nothing depends on its being activated.
export PATH := $(CURDIR)/.venv/bin:$(PATH)
export PIP_DISABLE_PIP_VERSION_CHECK := 1

BUILD := build
RELEASE := $(BUILD)/release
ASAN := $(BUILD)/asan
PIP := .venv/bin/python -m pip --quiet

# What the installed package is made of. Folders are listed too: their time tells that a file came or went.
SOURCES := $(shell find cmake library/include library/src interface src python/zarnik \
  -name __pycache__ -prune -o -print 2>/dev/null) CMakeLists.txt library/CMakeLists.txt pyproject.toml
FORMATTED = $(shell find library src benchmarks tests examples \( -name '*.cpp' -o -name '*.h' \) -print 2>/dev/null)

INSTALL = $(PIP) install --no-build-isolation --no-deps --force-reinstall . \
  -C cmake.define.ZARNIK_WARNINGS_AS_ERRORS=ON

.PHONY: help demo demo-cluster build test bench lint format sanitize tsan clang fuzz clean

help:
	@echo 'make demo      show a real 4-D scan that shares its memory with NumPy, and a part of 20 GiB'
	@echo 'make demo-cluster  let several processes work on a scan of a web server'
	@echo 'make test      build everything, run the C++ and the Python tests'
	@echo 'make build     build the package into .venv'
	@echo 'make bench     measure against NumPy and memcpy, results in $(BUILD)/bench'
	@echo 'make lint      clang-format, clang-tidy, ruff, mypy, stubs against what they describe'
	@echo 'make format    rewrite the sources as make lint wants them'
	@echo 'make sanitize  run the tests under AddressSanitizer and UndefinedBehaviorSanitizer'
	@echo 'make tsan      run the C++ tests under ThreadSanitizer'
	@echo 'make clang     build the library with the oldest and the newest clang, run the C++ tests'
	@echo 'make fuzz      feed what reads bytes from outside with any bytes, FUZZ_SECONDS=600 each'
	@echo 'make clean     remove everything that was built'

# ---- set-up ----------------------------------------------------------------------------------------------------------

$(BUILD)/.system-%: tools/install-system-packages.sh
	@mkdir -p $(@D)
	@tools/install-system-packages.sh $*
	@touch $@

.venv/.made: | $(BUILD)/.system-build
	@echo 'making .venv with' `$(PYTHON) --version`
	@rm -rf .venv && $(PYTHON) -m venv .venv
	@$(PIP) install --upgrade 'pip>=25.1'
	@touch $@

.venv/.group-%: pyproject.toml .venv/.made
	@$(PIP) install --group $*
	@touch $@

# Both bring NumPy: one after the other, also where make does several things at once.
.venv/.group-demo: | .venv/.group-build

# ---- build -----------------------------------------------------------------------------------------------------------

build: $(BUILD)/.built

# One tree for all that is built with one set of flags. Tests and benchmarks join it when they are first asked for, so
# that the package alone needs neither their libraries nor their time.
$(BUILD)/.built: $(SOURCES) .venv/.group-build | $(BUILD)/.system-build
	@echo 'building the package'
	@$(INSTALL) -C build-dir=$(RELEASE)
	@touch $@

$(BUILD)/.with-tests: | $(BUILD)/.built $(BUILD)/.system-test
	@cmake -DZARNIK_BUILD_TESTS=ON -DZARNIK_BUILD_TEST_MODULES=ON $(RELEASE) >/dev/null
	@touch $@

$(BUILD)/.with-benchmarks: | $(BUILD)/.built $(BUILD)/.system-bench
	@cmake -DZARNIK_BUILD_BENCHMARKS=ON $(RELEASE) >/dev/null
	@touch $@

# ---- demo ------------------------------------------------------------------------------------------------------------

# What the demonstrations import is fetched while the compiler works.
demo: .venv/.group-build | $(BUILD)/.system-demo
	@$(MAKE) --no-print-directory -j 2 $(BUILD)/.built .venv/.group-demo
	@.venv/bin/python -m zarnik.demo
	@.venv/bin/python -m zarnik.demo_volume

demo-cluster: $(BUILD)/.built .venv/.group-demo-cluster | $(BUILD)/.system-demo
	@.venv/bin/python -m zarnik.demo_cluster

# ---- test ------------------------------------------------------------------------------------------------------------

test: $(BUILD)/.built $(BUILD)/.with-tests .venv/.group-test .venv/.group-demo
	@cmake --build $(RELEASE) --target zarnik_tests test_modules
	@failed=; \
	ctest --test-dir $(RELEASE) --output-on-failure --no-tests=error || failed=1; \
	.venv/bin/python tests/support/interpreters.py --cache $(BUILD)/interpreters || failed=1; \
	.venv/bin/python -m pytest $(PYTEST_ARGS) || failed=1; \
	test -z "$$failed"

# ---- bench -----------------------------------------------------------------------------------------------------------

bench: $(BUILD)/.built $(BUILD)/.with-benchmarks .venv/.group-bench
	@cmake --build $(RELEASE) --target zarnik_benchmarks zarnik_benchmark_pixels
	@.venv/bin/python benchmarks/python/run.py --output $(BUILD)/bench $(BENCH_ARGS) \
	  --library `find $(RELEASE) -name zarnik_benchmarks -type f`

# ---- lint ------------------------------------------------------------------------------------------------------------

lint: $(BUILD)/.built .venv/.group-lint | $(BUILD)/.system-lint
	@failed=; \
	clang-format --dry-run -Werror $(FORMATTED) || failed=1; \
	.venv/bin/python tools/tidy.py $(RELEASE) --cache $(BUILD)/lint library/src src || failed=1; \
	ruff check --quiet . || failed=1; \
	ruff format --quiet --check . || failed=1; \
	mypy --no-error-summary || failed=1; \
	mypy --no-error-summary --strict --config-file= --cache-dir $(BUILD)/lint/mypy tests/typing || failed=1; \
	basedpyright --level error --project tests/typing || failed=1; \
	.venv/bin/python tools/check_stubs.py || failed=1; \
	test -z "$$failed"

format: .venv/.group-lint | $(BUILD)/.system-lint
	@clang-format -i $(FORMATTED)
	@ruff check --fix .
	@ruff format .

# ---- sanitize --------------------------------------------------------------------------------------------------------

# The interpreter is not instrumented: the run-time library has to be loaded first, the C++ library before it asks for
# __cxa_throw, and what the interpreter itself never frees is no finding. The C++ tests do look for leaks.
PRELOAD = `g++ -print-file-name=libasan.so` `g++ -print-file-name=libstdc++.so`

$(BUILD)/.built-asan: $(SOURCES) .venv/.group-build | $(BUILD)/.system-build $(BUILD)/.system-test
	@echo 'building the package with sanitizers'
	@$(INSTALL) --upgrade --target $(ASAN)/site -C build-dir=$(ASAN) -C cmake.build-type=Debug \
	  -C install.strip=false -C cmake.define.ZARNIK_SANITIZE=ON \
	  -C cmake.define.ZARNIK_BUILD_TESTS=ON -C cmake.define.ZARNIK_BUILD_TEST_MODULES=ON
	@touch $@

sanitize: $(BUILD)/.built-asan .venv/.group-test .venv/.group-demo
	@cmake --build $(ASAN) --target zarnik_tests test_modules
	@failed=; \
	ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --test-dir $(ASAN) --output-on-failure --no-tests=error || failed=1; \
	ASAN_OPTIONS=detect_leaks=0:allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  PYTHONPATH=$(CURDIR)/$(ASAN)/site:$(CURDIR)/$(ASAN)/test_modules PYTHONMALLOC=malloc ZARNIK_SANITIZED=1 \
	  LD_PRELOAD="$(PRELOAD)" .venv/bin/python -m pytest -o pythonpath=tests $(PYTEST_ARGS) || failed=1; \
	test -z "$$failed"

# ThreadSanitizer maps its own memory, which needs the addresses where they are without randomization.
tsan: .venv/.group-build | $(BUILD)/.system-build $(BUILD)/.system-test
	@cmake -S library -B $(BUILD)/tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZARNIK_SANITIZE_THREADS=ON >/dev/null
	@cmake --build $(BUILD)/tsan --target zarnik_tests
	@TSAN_OPTIONS=halt_on_error=1:die_after_fork=0:allocator_may_return_null=1 setarch `uname -m` -R $(BUILD)/tsan/zarnik_tests --gtest_brief=1

# ---- other compilers -------------------------------------------------------------------------------------------------

clang: .venv/.group-build | $(BUILD)/.system-build $(BUILD)/.system-test $(BUILD)/.system-clang
	@failed=; \
	for version in `tools/install-system-packages.sh --clang-versions`; do \
	  echo "clang $$version"; \
	  cmake -S library -B $(BUILD)/clang-$$version -G Ninja -DCMAKE_CXX_COMPILER=clang++-$$version \
	    -DZARNIK_WARNINGS_AS_ERRORS=ON >/dev/null && \
	  cmake --build $(BUILD)/clang-$$version --target zarnik zarnik_tests && \
	  $(BUILD)/clang-$$version/zarnik_tests --gtest_brief=1 || failed=1; \
	done; \
	test -z "$$failed"

# ---- fuzz ------------------------------------------------------------------------------------------------------------

# What it finds stays in build/fuzz/corpus for the next run; an input that does harm is left in build/fuzz.
FUZZ_SECONDS ?= 600
FUZZ_TARGETS ?= uri fields multipart resources image frame values

fuzz: .venv/.group-build | $(BUILD)/.system-build $(BUILD)/.system-fuzz
	@cmake -S library -B $(BUILD)/fuzz -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZARNIK_FUZZ=ON -DZARNIK_BUILD_TESTS=OFF \
	  -DCMAKE_CXX_COMPILER=clang++-`tools/install-system-packages.sh --clang-versions | head -n 1` >/dev/null
	@cmake --build $(BUILD)/fuzz --target zarnik_fuzz
	@failed=; \
	for target in $(FUZZ_TARGETS); do \
	  mkdir -p $(BUILD)/fuzz/corpus/$$target && echo "fuzzing $$target" && \
	  TMPDIR=`test -d /dev/shm && echo /dev/shm || echo /tmp` ZARNIK_FUZZ_TARGET=$$target ASAN_OPTIONS=allocator_may_return_null=1 nice -n 19 $(BUILD)/fuzz/zarnik_fuzz \
	    -max_total_time=$(FUZZ_SECONDS) -max_len=4096 -timeout=60 -rss_limit_mb=2048 -malloc_limit_mb=4194304 \
	    -verbosity=0 -print_final_stats=1 -artifact_prefix=$(BUILD)/fuzz/$$target- \
	    $(BUILD)/fuzz/corpus/$$target library/tests/fuzz/seeds/$$target || failed=1; \
	done; \
	test -z "$$failed"

# ---- clean -----------------------------------------------------------------------------------------------------------

clean:
	@rm -rf $(BUILD) dist .venv .pytest_cache .ruff_cache .mypy_cache .hypothesis
	@find . -name __pycache__ -prune -exec rm -rf {} +
