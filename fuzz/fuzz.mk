# --- What must hold for any input and any host -------------------------------------------------------------------

.PHONY: sanitize fuzz soak
sanitize: ready $(STAMPS)/test  ## run the tests on a module with address, undefined-behaviour and leak sanitizers
	@PYTHON=$(BIN)/python scripts/sanitize $(TESTS)

fuzz: ready $(STAMPS)/test  ## SECONDS=60: fuzz the core and, for as long, whole documents (CORPUS=path adds documents)
	@PYTHON=$(BIN)/python SECONDS=$(or $(SECONDS),60) CORPUS=$(CORPUS) fuzz/run

soak: ready $(STAMPS)/test  ## CORPUS=path ROUNDS=100: read a corpus many times; fails when memory grows
	@$(BIN)/python tests/soak.py $(if $(CORPUS),--corpus $(CORPUS)) --rounds $(or $(ROUNDS),100)
