# Wheels for every kind of machine, the suite on what they install, and releases.

$(STAMPS)/packaging: requirements/packaging.txt | $(STAMPS)/run
	@$(PIP) install -r $< && touch $@

$(STAMPS)/llvm-tools: | $(STAMPS)/venv
	@command -v llvm-objcopy >/dev/null && command -v llvm-objdump >/dev/null && command -v ld64.lld-19 >/dev/null || \
	  { apt-get update -qq && apt-get install -y -qq llvm lld-19 >/dev/null; }
	@touch $@

in_venv := PATH="$(abspath $(BIN)):$$PATH"

.PHONY: wheels test-wheels test-newer test-aarch64 test-musl test-i386 test-libraries release
wheels: $(STAMPS)/packaging $(STAMPS)/llvm-tools  ## make the wheels (TARGETS="manylinux2014-x86_64 macos-arm64" PYTHONS="3.10")
	@rm -rf dist/debug dist/*.whl && $(in_venv) python packaging/wheels.py --targets "$(TARGETS)" --versions "$(PYTHONS)"

test-wheels: wheels  ## make the wheels for x86-64 with glibc and run the tests on each
	@for python in $(BIN)/python $$(scripts/find-newer-pythons); do \
	  tag=cp$$($$python -c 'import sys; print("%d%d" % sys.version_info[:2])'); \
	  packaging/test-installed $$python build/wheel-env dist/*-$$tag-manylinux*_x86_64.whl || exit 1; \
	done
test-wheels: TARGETS = manylinux2014-x86_64

test-newer: $(STAMPS)/packaging  ## build from the sdist and test on every newer CPython that is found (3.11 to 3.13)
	@rm -rf build/sdist && $(in_venv) python -m build --no-isolation --sdist --outdir build/sdist . >/dev/null
	@for python in $$(scripts/find-newer-pythons); do \
	  echo "=== $$($$python --version)"; \
	  packaging/test-installed $$python build/newer-env build/sdist/*.tar.gz || exit 1; \
	done

test-aarch64: wheels  ## make the wheel for CPython 3.11 on ARM and run all tests on it under QEMU
	@EXHAUSTIVE=yes packaging/test-foreign aarch64
test-aarch64: TARGETS = manylinux2014-aarch64
test-aarch64: PYTHONS = 3.11

test-musl: wheels  ## make the wheels for musl and run the tests on each, those for ARM under QEMU
	@packaging/test-musl
test-musl: TARGETS = musllinux_1_2-x86_64 musllinux_1_2-aarch64

test-i386: $(STAMPS)/packaging $(STAMPS)/test  ## build for 32-bit x86 and run the tests there
	@packaging/test-foreign i386

test-libraries: $(STAMPS)/packaging  ## run the tests that read trees with every release of the libraries that works
	@rm -rf build/native && $(in_venv) pip -qq wheel --no-deps --no-build-isolation -w build/native .
	@packaging/test-libraries "$(abspath $(BIN)/python)" build/native/*.whl

release: $(STAMPS)/packaging $(STAMPS)/test $(STAMPS)/llvm-tools  ## VERSION=1.2.3: make a release in dist/1.2.3, test it and tag it
	@packaging/release "$(VERSION)"
