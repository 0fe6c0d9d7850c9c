# The wheel and the sdist, and the suite on what they install and on newer interpreters.

$(STAMPS)/packaging: requirements/packaging.txt | $(STAMPS)/run
	@$(PIP) install -r $< && touch $@

.PHONY: wheel test-wheel test-newer
wheel: $(STAMPS)/packaging  ## make the wheel, the sdist and the debug information in dist/
	@packaging/make-wheel "$(abspath $(BIN))"

test-wheel: wheel  ## install the wheel, then the sdist, into empty environments and run the tests there
	@packaging/test-installed "$(abspath $(BIN)/python)" build/wheel-env dist/*.whl
	@packaging/test-installed "$(abspath $(BIN)/python)" build/sdist-env dist/*.tar.gz

test-newer: wheel  ## build and test on every newer CPython that is found (3.11 to 3.13)
	@for python in $$(scripts/find-newer-pythons); do \
	  echo "=== $$($$python --version)"; \
	  packaging/test-installed $$python build/newer-env dist/*.tar.gz || exit 1; \
	done
