#!/usr/bin/env bash
# Prints the non-blank lines of the tests against those of the library and the program, and
# their ratio (the aim: tests at most a third of the code). Test data under tests/data is not
# counted; the test scripts are.
set -euo pipefail
cd "$(dirname "$0")/.."
count() { git ls-files -- "$@" | grep -E '\.(cpp|cc|c|h|hpp|sh|py|cmake)$|CMakeLists\.txt$' \
  | grep -v '^tests/data/' | xargs -r cat | grep -cvE '^\s*$' || true; }
code=$(count src include cli)
tests=$(count tests)
echo "code (src, include, cli): $code non-blank lines"
echo "tests (tests/, without tests/data): $tests non-blank lines"
echo "tests / code: $(( tests * 100 / code ))%"
