# Thin wrapper around CMake. Every target first installs the Debian packages
# that are missing, so a fresh machine needs nothing but this file.

BUILD      ?= build
BUILD_TYPE ?= Release
JOBS       ?= $(shell nproc)
CMAKE_ARGS ?=

PACKAGES := cmake make g++ libgtest-dev libgmock-dev libbenchmark-dev libboost-dev \
            librapidxml-dev libsparsehash-dev zlib1g-dev libmd-dev \
            libdeflate-dev libpugixml-dev python3 mono-mcs mono-runtime graphviz \
            libcurl4-openssl-dev nginx openssl curl \
            python3-dev pybind11-dev python3-pybind11 python3-pytest python3-numpy

SUDO := $(if $(filter 0,$(shell id -u)),,sudo)

.PHONY: all deps configure build test run bench fuzz format-check clean

all: build

# Installing and compiling keep their output in logs under $(LOGS) and say
# one line each; a failure shows what went wrong and where the whole log is.
LOGS = $(BUILD)/logs

deps:
	@missing=$$(for p in $(PACKAGES); do \
	    dpkg-query -W -f='$${Status}\n' $$p 2>/dev/null | grep -q 'install ok installed' || echo $$p; \
	done); \
	if [ -n "$$missing" ]; then \
	    mkdir -p $(LOGS) && log=$(LOGS)/deps.log; \
	    installed() { dpkg-query -W -f='$${Status}\n' | grep -c 'install ok installed'; }; \
	    before=$$(installed); \
	    echo "Installing" $$missing "(log: $$log)"; \
	    if ! { $(SUDO) apt-get update && \
	           $(SUDO) env DEBIAN_FRONTEND=noninteractive apt-get install -y $$missing; } >$$log 2>&1; then \
	        tail -n 25 $$log; echo "Installing packages failed; the whole log is $$log"; exit 1; \
	    fi; \
	    echo "Installed" $$missing "and what they need, $$(($$(installed) - before)) packages in all"; \
	fi

configure: deps
	@mkdir -p $(LOGS)
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_ARGS) >$(LOGS)/configure.log 2>&1 || \
	    { cat $(LOGS)/configure.log; echo "Configuring failed; the log is $(LOGS)/configure.log"; exit 1; }

# What the build says besides its progress, such as a compiler's warnings
# and errors, is shown.
build: configure
	@echo "Building $(BUILD_TYPE) in $(BUILD) (log: $(LOGS)/build.log)"
	@cmake --build $(BUILD) -j $(JOBS) >$(LOGS)/build.log 2>&1; status=$$?; \
	grep -Ev '^\[ *[0-9]+%\] |^g?make\[[0-9]+\]: (Entering|Leaving) directory|^Consolidate compiler' \
	    $(LOGS)/build.log; \
	[ $$status -eq 0 ] || { echo "Building failed; the whole log is $(LOGS)/build.log"; exit 1; }

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# The tour: two content libraries packed from examples/demo and described by
# their contents files, a host scene written through ZELFile::Create against
# them, and that scene seen through the zel tool, ending with its drawing.
DEMO = $(abspath $(BUILD))/demo
ZEL  = $(abspath $(BUILD))/tools/zel
LIBRARIES = --library FerraneLibrary=$(DEMO)/content/library.zelc \
            --library OblisLibrary=$(DEMO)/content/oblis_library.zelc
run: build
	@rm -rf $(DEMO) && mkdir -p $(DEMO)/content
	@echo; echo "== Two content libraries: packages, and the contents files that describe them"
	cd examples/demo/ferrane && $(ZEL) pack --store png $(DEMO)/ferrane.zel __zel_index__.xml textures
	cd examples/demo/oblis && $(ZEL) pack $(DEMO)/oblis.zel __zel_index__.xml meshes
	$(ZEL) contents $(DEMO)/ferrane.zel $(DEMO)/content/library.zelc
	$(ZEL) contents $(DEMO)/oblis.zel $(DEMO)/content/oblis_library.zelc
	@echo; echo "== A host scene, written through ZELFile and ZELBlock (examples/host_scene.cpp)"
	$(abspath $(BUILD))/examples/host_scene $(DEMO)/scene.zel $(DEMO)/content examples/demo/scene
	@echo; echo "== zel ls: its entries, each binary stored once"
	$(ZEL) ls $(DEMO)/scene.zel
	@echo; echo "== zel scene: its scene document"
	$(ZEL) scene $(DEMO)/scene.zel
	@echo; echo "== zel check: every link proven against the package and the two libraries"
	$(ZEL) check $(DEMO)/scene.zel $(LIBRARIES)
	@echo; echo "== zel verify: header, table of contents and every entry's hash"
	$(ZEL) verify $(DEMO)/scene.zel
	@echo; echo "== The same road from C#: the export page of an add-in (examples/managed/PageAddIn.cs)"
	MONO_PATH=$(abspath $(BUILD))/zel/facade/managed mono $(abspath $(BUILD))/examples/PageAddIn.exe $(DEMO)/page.zel $(DEMO)/content
	$(ZEL) check $(DEMO)/page.zel $(LIBRARIES)
	@echo; echo "== zel graph: the scene drawn whole, with the blocks and binaries of both libraries"
	cd $(DEMO) && $(ZEL) graph scene.zel --library FerraneLibrary=ferrane.zel \
	    --library OblisLibrary=oblis.zel >scene.dot && dot -Tsvg -o scene.svg scene.dot
	@echo; echo "The demonstration scene is drawn in $(BUILD)/demo/scene.svg"

# Benchmarks run from their own Release build; BENCH picks one program.
# BENCH=python_bench runs bench/python_bench.py against its C++ peer.
BENCH ?= compression_bench
bench: deps
	cmake -S . -B $(BUILD)-bench -DCMAKE_BUILD_TYPE=Release -DZEL_BUILD_BENCH=ON -DZEL_BUILD_TESTS=OFF $(CMAKE_ARGS)
	cmake --build $(BUILD)-bench -j $(JOBS) --target $(BENCH)
	./$(BUILD)-bench/bench/$(BENCH) $(BENCH_ARGS)

# Fuzzing runs from a clang build of its own. Each target NAME_fuzzer starts
# from the seeds under fuzz/corpus/NAME and runs FUZZ_SECONDS, one after the
# other; FUZZ_TARGETS picks some. New inputs the fuzzer finds go to
# fuzz/corpus-work/NAME (not committed); the seeds stay as they are.
# FUZZ_ARGS=-runs=0 only replays the seeds.
FUZZ_TARGETS ?= archive_fuzzer scene_fuzzer contents_fuzzer
FUZZ_SECONDS ?= 60
FUZZ_ARGS    ?= -max_total_time=$(FUZZ_SECONDS) -print_final_stats=1
fuzz: PACKAGES += clang libclang-rt-14-dev
fuzz: deps
	cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
	    -DZEL_BUILD_FUZZ=ON -DZEL_BUILD_TESTS=OFF -DZEL_BUILD_TOOLS=OFF $(CMAKE_ARGS)
	cmake --build build-fuzz -j $(JOBS) --target $(FUZZ_TARGETS)
	for target in $(FUZZ_TARGETS); do \
	    corpus=$${target%_fuzzer}; mkdir -p fuzz/corpus-work/$$corpus && \
	    ./build-fuzz/fuzz/$$target $(FUZZ_ARGS) fuzz/corpus-work/$$corpus fuzz/corpus/$$corpus || exit 1; \
	done

# Every tracked source must be as clang-format leaves it.
format-check: PACKAGES += clang-format
format-check: deps
	git ls-files -- '*.cpp' '*.hpp' | xargs clang-format --dry-run --Werror

clean:
	rm -rf $(BUILD) $(BUILD)-bench build-fuzz build-asan build-tsan
