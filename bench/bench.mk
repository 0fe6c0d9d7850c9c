# The benchmark. DOCS=path ... measures other documents than the corpus; OPTIONS="--quick" takes under a minute.

CORPUS_ARCHIVE ?= ../shared/corpus.tar.xz
corpus := $(if $(wildcard $(CORPUS_ARCHIVE)),build/corpus)
floor := build/bench/floor.so

.PHONY: bench
bench: ready $(floor) $(if $(DOCS),,$(corpus))  ## time and memory beside parse and floor (DOCS=path, OPTIONS=--quick)
	@PYTHONPATH=$(dir $(floor)) $(BIN)/python bench/bench.py $(OPTIONS) $(or $(DOCS),$(corpus:%=--corpus %))
	@$(BIN)/python bench/commands.py $(or $(DOCS),$(wildcard $(corpus:%=%/*/)))

.PHONY: bench-docmap
bench-docmap: ready $(if $(DOCS),,$(corpus))  ## what docmap's commands cost beside the parse (DOCS="folders")
	@$(BIN)/python bench/commands.py $(or $(DOCS),$(wildcard $(corpus:%=%/*/)))

$(floor): bench/floor.cpp bench/CMakeLists.txt engines/markdown/python/api.h $(STAMPS)/engine
	@$(BIN)/cmake -S bench -B $(@D) -G Ninja -DCMAKE_MAKE_PROGRAM=$(abspath $(BIN))/ninja -DCMAKE_BUILD_TYPE=Release \
	  -DPython_EXECUTABLE=$(abspath $(BIN))/python >/dev/null && \
	$(BIN)/cmake --build $(@D) >/dev/null && touch $@

build/corpus: $(CORPUS_ARCHIVE)
	@mkdir -p $@ && tar -xf $< -C $@ --strip-components=1 && touch $@
