# make outline DOCS=path   the outline of Markdown files and folders
# make test                the tests
# Both set up what they need on first use and rebuild only what changed. 'make help' lists the rest.

.DEFAULT_GOAL := help
.DELETE_ON_ERROR:
SHELL := /bin/sh

# PYTHON= names another interpreter: .venv when it is that one's, and otherwise a folder of its own (.venv-3.12).
VENV := $(if $(PYTHON),$(shell scripts/venv-of "$(PYTHON)"),.venv)
$(if $(VENV),,$(error No environment for PYTHON=$(PYTHON)))
BIN := $(VENV)/bin
STAMPS := $(VENV)/stamps
PIP := $(BIN)/pip --disable-pip-version-check -qq
INSTALL := PATH="$(abspath $(BIN)):$$PATH" $(PIP) install --no-deps --no-build-isolation
JOBS := auto

engine_sources := $(shell find engines -type f) CMakeLists.txt pyproject.toml
host_sources := $(shell find host -type f -not -path '*/__pycache__/*')
docmap_sources := $(shell find docmap -type f -not -path '*/__pycache__/*')

.PHONY: help
help:  ## list the targets
	@awk -F ':.*## ' '/^[a-z-]+:.*## / { printf "  make %-14s %s\n", $$1, $$2 }' $(MAKEFILE_LIST)

# --- What a newcomer types ---------------------------------------------------------------------------------------

# One path as it is, spaces included; several with the shell's quotes: DOCS="docs 'my notes'".
export DOCS
docs = if [ -e "$$DOCS" ]; then set -- "$$DOCS"; else eval "set -- $$DOCS"; fi; \
  test $$\# -gt 0 || { echo "Say which files or folders: make $@ DOCS=path" >&2; exit 2; }

.PHONY: outline test check-links page
outline: ready  ## DOCS=path: print the outline of Markdown files and folders (OPTIONS="--links" adds links)
	@$(docs); $(BIN)/docmap outline $(OPTIONS) "$$@"

check-links: ready  ## DOCS=path: report links whose file or anchor does not exist
	@$(docs); $(BIN)/docmap check $(OPTIONS) "$$@"

page: ready $(STAMPS)/page  ## DOCS=folder: write docmap.html, a page that shows what is in the folder (OPTIONS="--open")
	@$(docs); $(BIN)/docmap page $(OPTIONS) "$$@"

test: ready $(STAMPS)/test  ## run the tests (TESTS="tests/test_links.py -k wiki" for some of them)
	@$(BIN)/python -m pytest $(or $(TESTS),-n $(JOBS))

.PHONY: test-page test-examples pictures
test-page: ready $(STAMPS)/test $(STAMPS)/page  ## test the HTML page (browser tests need chromium and chromedriver)
	@$(BIN)/python -m pytest -rs tests/test_page.py

pictures: ready $(STAMPS)/page  ## make the pictures of README.md again (needs chromium and chromedriver)
	@$(BIN)/python scripts/make-pictures

test-examples: ready $(STAMPS)/test $(STAMPS)/examples  ## run the examples, one with Dask on two workers
	@$(BIN)/python -m pytest -rs tests/test_examples.py

# --- What a developer types --------------------------------------------------------------------------------------

# A module without optimisation, with what a debugger reads and with the standard library's own checks. It is never
# installed: PYTHONPATH puts it before the installed one.
dev_folder := build/dev$(VENV:.venv%=%)
on_dev := PYTHONPATH=$(abspath $(dev_folder))/site $(BIN)/python

.PHONY: dev-module dev quick debug mutants lint format hooks
dev-module: $(STAMPS)/test $(STAMPS)/docmap
	@PYTHON=$(BIN)/python scripts/build-site $(dev_folder) -DCMAKE_BUILD_TYPE=Debug \
	  "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -g -D_GLIBCXX_ASSERTIONS"
	@ln -sf $(dev_folder)/compile_commands.json .

dev: dev-module  ## build the debug module, in a second after a change (TESTS=... runs tests on it)
	@$(if $(TESTS),$(on_dev) -m pytest $(TESTS),echo "import it with $(on_dev)")

quick: dev-module  ## run all but the long tests on the debug module
	@LEAVE_OUT_LENGTHS=2 $(on_dev) -m pytest -m "not long" $(or $(TESTS),-n $(JOBS))

debug: dev-module  ## TESTS="tests/test_links.py -k wiki": run them on the debug module in gdb, which stops at a crash
	@command -v gdb >/dev/null || { echo "gdb is missing: install your system's package of that name." >&2; exit 1; }
	@PYTHONPATH=$(abspath $(dev_folder))/site gdb -q -ex run --args $(BIN)/python -m pytest -s -p no:faulthandler $(TESTS)

mutants: $(STAMPS)/test $(STAMPS)/docmap  ## COUNT=40 SEED=1: change one token at a time and list what no test notices (SOURCES=path)
	@$(BIN)/python scripts/mutants --count $(or $(COUNT),40) --seed $(or $(SEED),1) $(OPTIONS) $(SOURCES)

lint: $(STAMPS)/checks  ## check layout, lint and include directions
	@PATH="$(abspath $(BIN)):$$PATH" scripts/lint

format: $(STAMPS)/checks  ## lay out all sources, then lint
	@PATH="$(abspath $(BIN)):$$PATH" scripts/lint --fix

hooks: $(STAMPS)/checks  ## let git check layout, lint and include directions before each commit
	@git config core.hooksPath scripts/hooks && echo "git now runs scripts/hooks/pre-commit before each commit"

# --- Setting up --------------------------------------------------------------------------------------------------

.PHONY: ready
ready: $(STAMPS)/engine $(STAMPS)/docmap

$(STAMPS)/venv:
	@python=$$(scripts/find-python "$(PYTHON)") && scripts/check-compiler && \
	echo "Setting up $(VENV) with $$python ..." >&2 && \
	"$$python" -m venv --clear $(VENV) && mkdir -p $(STAMPS) && touch $@

$(STAMPS)/run: requirements/run.txt | $(STAMPS)/venv
	@$(PIP) install -r $< >&2 && touch $@

$(STAMPS)/test: requirements/test.txt | $(STAMPS)/run
	@$(PIP) install -r $< >&2 && touch $@

$(STAMPS)/page: requirements/page.txt | $(STAMPS)/run
	@$(PIP) install --no-deps -r $< >&2 && touch $@

$(STAMPS)/examples: requirements/examples.txt | $(STAMPS)/run
	@$(PIP) install -r $< >&2 && touch $@

$(STAMPS)/checks: requirements/checks.txt | $(STAMPS)/run
	@$(PIP) install -r $< >&2 && touch $@

$(STAMPS)/host: $(host_sources) $(STAMPS)/run
	@$(INSTALL) ./host >&2 && touch $@

$(STAMPS)/docmap: $(docmap_sources) $(STAMPS)/run $(STAMPS)/host
	@$(INSTALL) ./docmap >&2 && touch $@

$(STAMPS)/engine: $(engine_sources) $(STAMPS)/run $(STAMPS)/host
	@echo "Building the engine (about half a minute on an idle machine) ..." >&2 && $(INSTALL) . >&2 && touch $@

.PHONY: clean
clean:  ## remove what was set up and built
	rm -rf .venv .venv-* build dist compile_commands.json

include $(wildcard bench/bench.mk fuzz/fuzz.mk packaging/packaging.mk)
