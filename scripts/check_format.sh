#!/usr/bin/env bash
# Fails, showing the diff, when a C or C++ source differs from clang-format's output.
set -euo pipefail
cd "$(dirname "$0")/.."
command -v clang-format >/dev/null || { echo "clang-format not found; skipping the format check"; exit 0; }
status=0
while IFS= read -r f; do
  if ! diff -u "$f" <(clang-format --style=file "$f") >/tmp/lumdc-format.diff; then
    cat /tmp/lumdc-format.diff
    status=1
  fi
done < <(git ls-files --cached --others --exclude-standard '*.c' '*.cpp' '*.h')
[ $status -eq 0 ] && echo "formatting ok"
exit $status
