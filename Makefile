# A thin front: every target is one script or the build's own. Those with `dependencies` behind them install what is
# missing first; the command alone needs a compiler, CMake, Ninja and the libraries that scripts/install-dependencies
# names.
PREFIX ?= /usr/local
.PHONY: korva install demo test bench lint fuzz soak screenshots docs plugins install-plugins package dist dependencies clean

korva:
	@scripts/build-command $(PREFIX)

install: korva
	@cmake --install build/command --component command

demo: dependencies
	@scripts/demo $(INPUT)

test: dependencies
	@scripts/test

bench: dependencies
	@scripts/bench

lint: dependencies
	@scripts/lint

fuzz: dependencies
	@scripts/fuzz $(or $(SECONDS),60)

soak: dependencies
	@scripts/soak $(or $(SECONDS),60)

screenshots: dependencies
	@scripts/screenshots

docs: dependencies
	@scripts/docs

plugins: dependencies
	@scripts/plugins

install-plugins:
	@scripts/plugins install "$(DESTDIR)" "$(or $(PREFIX),/usr/local)"

package: dependencies
	@scripts/package

dist:
	@scripts/dist

dependencies:
	@scripts/install-dependencies

clean:
	rm -rf build out
