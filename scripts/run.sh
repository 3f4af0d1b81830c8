#!/usr/bin/env bash
# Installs what lumDC needs, builds it (Release) and runs the command-line tool
# over the files given, or over the shared benchmark corpus when none are given.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DLUMDC_BUILD_TESTS=OFF >/dev/null
cmake --build build -j2

if [ $# -eq 0 ]; then
  corpus=${LUMDC_CORPUS:-../shared/corpus}
  shopt -s nullglob
  set -- $(find "$corpus" -maxdepth 1 -type f ! -name '*.md' 2>/dev/null | sort)
  [ $# -gt 0 ] || set -- README.md
fi
build/tools/lumdc sum "$@"
