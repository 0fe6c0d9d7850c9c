# make outline DOCS=path   the outline of Markdown files and folders
# make test                the tests
# Both set up what they need on first use and rebuild only what changed. 'make help' lists the rest.

.DEFAULT_GOAL := help
.DELETE_ON_ERROR:
SHELL := /bin/sh

VENV := .venv
BIN := $(VENV)/bin
STAMPS := $(VENV)/stamps
PIP := $(BIN)/pip --disable-pip-version-check -qq
INSTALL := PATH="$(abspath $(BIN)):$$PATH" $(PIP) install --no-deps --no-build-isolation

engine_sources := $(shell find engines -type f) CMakeLists.txt pyproject.toml README.md
host_sources := $(shell find host -type f -not -path '*/__pycache__/*')
docmap_sources := $(shell find docmap -type f -not -path '*/__pycache__/*')

.PHONY: help
help:  ## list the targets
	@awk -F ':.*## ' '/^[a-z-]+:.*## / { printf "  make %-14s %s\n", $$1, $$2 }' $(MAKEFILE_LIST)

# --- What a newcomer types ---------------------------------------------------------------------------------------

.PHONY: outline test check-links page
outline: ready  ## DOCS=path: print the outline of Markdown files and folders (OPTIONS="--links" adds links)
	@test -n "$(DOCS)" || { echo "Say which files or folders: make outline DOCS=path" >&2; exit 2; }
	@$(BIN)/docmap outline $(OPTIONS) $(DOCS)

check-links: ready  ## DOCS=path: report links whose file or anchor does not exist
	@test -n "$(DOCS)" || { echo "Say which folder: make check-links DOCS=path" >&2; exit 2; }
	@$(BIN)/docmap check $(OPTIONS) $(DOCS)

page: ready $(STAMPS)/page  ## DOCS=folder: write docmap.html, a page that shows what is in the folder (OPTIONS="--open")
	@test -n "$(DOCS)" || { echo "Say which folder: make page DOCS=path" >&2; exit 2; }
	@$(BIN)/docmap page $(OPTIONS) $(DOCS)

test: ready $(STAMPS)/test  ## run the tests (TESTS="tests/test_links.py -k title" for some of them)
	@$(BIN)/python -m pytest $(TESTS)

.PHONY: test-page test-examples pictures
test-page: ready $(STAMPS)/test $(STAMPS)/page  ## test the HTML page (browser tests need chromium and chromedriver)
	@$(BIN)/python -m pytest -rs tests/test_page.py

pictures: ready $(STAMPS)/page  ## make the pictures of README.md again (needs chromium and chromedriver)
	@$(BIN)/python scripts/make-pictures

test-examples: ready $(STAMPS)/test $(STAMPS)/examples  ## run the examples, one with Dask on two workers
	@$(BIN)/python -m pytest -rs tests/test_examples.py

# --- Setting up --------------------------------------------------------------------------------------------------

.PHONY: ready
ready: $(STAMPS)/engine $(STAMPS)/docmap

$(STAMPS)/venv:
	@python=$$(scripts/find-python $(PYTHON)) && scripts/check-compiler && \
	echo "Setting up $(VENV) ..." && "$$python" -m venv --clear $(VENV) && mkdir -p $(STAMPS) && touch $@

$(STAMPS)/run: requirements/run.txt | $(STAMPS)/venv
	@$(PIP) install -r $< && touch $@

$(STAMPS)/test: requirements/test.txt | $(STAMPS)/run
	@$(PIP) install -r $< && touch $@

$(STAMPS)/page: requirements/page.txt | $(STAMPS)/run
	@$(PIP) install --no-deps -r $< && touch $@

$(STAMPS)/examples: requirements/examples.txt | $(STAMPS)/run
	@$(PIP) install -r $< && touch $@

$(STAMPS)/checks: requirements/checks.txt | $(STAMPS)/run
	@$(PIP) install -r $< && touch $@

$(STAMPS)/host: $(host_sources) $(STAMPS)/run
	@$(INSTALL) ./host && touch $@

$(STAMPS)/docmap: $(docmap_sources) $(STAMPS)/run $(STAMPS)/host
	@$(INSTALL) ./docmap && touch $@

$(STAMPS)/engine: $(engine_sources) $(STAMPS)/run $(STAMPS)/host
	@echo "Building the engine ..." && $(INSTALL) . && touch $@

.PHONY: clean
clean:  ## remove what was set up and built
	rm -rf $(VENV) build dist

include $(wildcard bench/bench.mk fuzz/fuzz.mk packaging/packaging.mk)
