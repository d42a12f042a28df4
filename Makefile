# A thin front: every target is one script. Both `demo` and `test` install what is missing first.
.PHONY: demo test bench lint screenshots plugins install-plugins dependencies clean

demo: dependencies
	@scripts/demo $(INPUT)

test: dependencies
	@scripts/test

bench: dependencies
	@scripts/bench

lint: dependencies
	@scripts/lint

screenshots: dependencies
	@scripts/screenshots

plugins: dependencies
	@scripts/plugins

install-plugins:
	@scripts/plugins install "$(DESTDIR)" "$(or $(PREFIX),/usr/local)"

dependencies:
	@scripts/install-dependencies

clean:
	rm -rf build out
