# A thin front: every target is one script. Both `demo` and `test` install what is missing first.
.PHONY: demo test bench lint screenshots dependencies clean

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

dependencies:
	@scripts/install-dependencies

clean:
	rm -rf build out
