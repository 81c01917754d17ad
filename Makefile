# QJKit — quick start on Debian 12:
#   make demo    installs what is missing, builds, and runs the demo
#   make test    installs what is missing, builds, and runs every test
#   make sanitize  runs the tests again under the address, undefined-behaviour, leak and thread sanitizers
# Other targets: build, install (PREFIX=...), bench, fuzz, docs, format, clean.

BUILD_DIR  ?= build
BUILD_TYPE ?= RelWithDebInfo
PREFIX     ?= $(CURDIR)/$(BUILD_DIR)/stage
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)

PACKAGES := build-essential cmake ninja-build pkg-config qt6-base-dev qt6-base-dev-tools libgl-dev \
            xvfb xauth procps python3 fonts-dejavu-core ccache libsodium-dev libarchive-dev minisign \
            fonts-wqy-microhei

CMAKE_CONFIGURE = cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) \
                  -DCMAKE_INSTALL_PREFIX=$(PREFIX)

.PHONY: all deps configure build test check-example install demo tour format clean fuzz docs bench \
        sanitize sanitize-address sanitize-thread

all: build

deps:
	@scripts/install-deps.sh $(PACKAGES)

$(BUILD_DIR)/build.ninja:
	$(CMAKE_CONFIGURE)

configure: deps
	$(CMAKE_CONFIGURE)

build: deps $(BUILD_DIR)/build.ninja
	cmake --build $(BUILD_DIR) -j $(JOBS)

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure -j $(JOBS)
	$(MAKE) --no-print-directory check-example

# Installs the library into a staging prefix and builds the example host project (with CMake and
# with pkg-config) and the examples of docs/ against it, then runs those without a window; a
# component QJKit does not have must fail by name.
check-example: build
	cmake --install $(BUILD_DIR) --prefix $(PREFIX) > /dev/null
	cmake -S examples/host -B $(BUILD_DIR)/example-host -G Ninja -DCMAKE_PREFIX_PATH=$(PREFIX) > /dev/null
	cmake --build $(BUILD_DIR)/example-host
	LD_LIBRARY_PATH=$(PREFIX)/lib:$$LD_LIBRARY_PATH $(BUILD_DIR)/example-host/qjkit-example-host
	c++ -std=c++20 -fPIC examples/host/main.cpp -o $(BUILD_DIR)/example-host/qjkit-example-host-pc \
	    $$(PKG_CONFIG_PATH=$(PREFIX)/lib/pkgconfig pkg-config --cflags --libs QJKitCore)
	LD_LIBRARY_PATH=$(PREFIX)/lib:$$LD_LIBRARY_PATH $(BUILD_DIR)/example-host/qjkit-example-host-pc > /dev/null
	! cmake -S examples/host -B $(BUILD_DIR)/example-host-gui -G Ninja -DCMAKE_PREFIX_PATH=$(PREFIX) \
	    -DQJKIT_COMPONENTS=Gui > $(BUILD_DIR)/example-host-gui.log 2>&1
	grep -q 'QJKit has no component "Gui"' $(BUILD_DIR)/example-host-gui.log
	cmake -S examples/docs -B $(BUILD_DIR)/example-docs -G Ninja -DCMAKE_PREFIX_PATH=$(PREFIX) > /dev/null
	cmake --build $(BUILD_DIR)/example-docs -j $(JOBS)
	LD_LIBRARY_PATH=$(PREFIX)/lib:$$LD_LIBRARY_PATH scripts/run-doc-examples.sh $(BUILD_DIR)/example-docs

install: build
	cmake --install $(BUILD_DIR) --prefix $(PREFIX)

# Only what the demo needs: the libraries, the demo, its Updater, its releases (and the tool that
# publishes them); the test programs wait for `make test`.
demo: deps $(BUILD_DIR)/build.ninja
	cmake --build $(BUILD_DIR) -j $(JOBS) --target demo-releases
	@scripts/demo.sh $(BUILD_DIR)

tour: build
	@scripts/tour.sh $(BUILD_DIR)/tools/qjkit/qjkit

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD_DIR) build-asan build-tsan build-fuzz

# The whole test suite again under AddressSanitizer + UndefinedBehaviorSanitizer with
# LeakSanitizer (build-asan), then the threaded tests (label "threads") under ThreadSanitizer
# (build-tsan, which builds only them). Any report fails the test that made it, and so the run.
sanitize: sanitize-address sanitize-thread

sanitize-address: deps
	cmake --preset asan > /dev/null
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(JOBS)

sanitize-thread: deps
	cmake --preset tsan > /dev/null
	cmake --build --preset tsan -j $(JOBS) --target threads-tests
	ctest --preset tsan -j $(JOBS)

# Side-by-side comparisons of every subsystem, the Google Benchmark programs and the growth plot, in
# a Release build of its own; writes docs/performance.md and docs/images/scaling.png. Takes a while.
BENCH_DIR      ?= build-bench
BENCH_PACKAGES := libbenchmark-dev libssl-dev wdiff git python3 libplist-utils libplist-dev curl time gnuplot-nox

bench: deps
	@scripts/install-deps.sh $(BENCH_PACKAGES)
	cmake -S . -B $(BENCH_DIR) -G Ninja -DCMAKE_BUILD_TYPE=Release -DQJKIT_BUILD_BENCH=ON \
	      -DQJKIT_BUILD_TESTS=OFF -DQJKIT_BUILD_WIDGETS=ON -DQJKIT_BUILD_DEMO=ON
	cmake --build $(BENCH_DIR) -j $(JOBS)
	nice python3 scripts/bench-report.py $(BENCH_DIR) docs/performance.md

# API reference from the public headers and the guides, with Doxygen; fails on any Doxygen warning
# (an undocumented public symbol among them) and when a guide's quoted code differs from its example.
# Also writes the Qt Help file build/docs/qjkit.qch and the tag file build/docs/qjkit.tags, which
# `make install` installs; Qt's classes link to doc.qt.io through Qt's tag files.
DOCS_PACKAGES := doxygen python3 qt6-documentation-tools qtbase5-doc-dev
VERSION := $(shell awk '/^project.QJKit VERSION/ {print $$3}' CMakeLists.txt)
QT_TAGS := /usr/share/qt5/doc
QT_DOCS := https://doc.qt.io/qt-6

docs: $(BUILD_DIR)/build.ninja
	@scripts/install-deps.sh $(DOCS_PACKAGES)
	python3 scripts/docs-snippets.py
	@rm -rf $(BUILD_DIR)/docs && mkdir -p $(BUILD_DIR)/docs
	QJKIT_VERSION=$(VERSION) QJKIT_DOCS_OUTPUT=$(BUILD_DIR)/docs \
	QJKIT_DOCS_GENERATED=$(BUILD_DIR)/src/include/qjkitversion.h \
	QJKIT_DOCS_QHP=YES QJKIT_DOCS_QHG=/usr/lib/qt6/libexec/qhelpgenerator \
	QJKIT_DOCS_QT_TAGS="$(foreach m,qtcore qtgui qtwidgets qtnetwork,$(QT_TAGS)/$(m)/$(m).tags=$(QT_DOCS)/)" \
	doxygen docs/Doxyfile
	@if [ -s $(BUILD_DIR)/docs/warnings.log ]; then \
	  cat $(BUILD_DIR)/docs/warnings.log >&2; \
	  echo "make docs: Doxygen printed $$(wc -l < $(BUILD_DIR)/docs/warnings.log) warning line(s)" >&2; exit 1; \
	fi
	@echo "API reference: $(BUILD_DIR)/docs/html/index.html"

# Runs every libFuzzer target for FUZZ_SECONDS seconds (default 60).
fuzz:
	@scripts/install-deps.sh $(PACKAGES) clang libclang-rt-14-dev
	@scripts/fuzz.sh
