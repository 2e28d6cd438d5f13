# The short commands. Everything else is CMake (see CMakePresets.json).
.PHONY: demo test tidy bench fuzz install packages clean

demo:
	scripts/install-packages.sh demo
	scripts/demo.sh

test:
	scripts/install-packages.sh test
	scripts/test.sh

# The suite leaves the tests' own sources out.
tidy:
	scripts/install-packages.sh test
	cmake --preset test -B build/tidy -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON
	scripts/check-tidy.sh build/tidy all

bench:
	scripts/install-packages.sh test
	scripts/bench.sh

fuzz:
	scripts/install-packages.sh test
	scripts/fuzz.sh

install:
	scripts/install-packages.sh
	cmake --preset release
	cmake --build --preset release
	cmake --install build/release

packages:
	scripts/install-packages.sh packages
	scripts/packages.sh

clean:
	rm -rf build out
