#!/usr/bin/env bash
# Makes pages of the installed headers in build/docs/html; fails where a comment is wrong. Installs doxygen when it is missing.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh docs
mkdir -p build/docs
doxygen Doxyfile
echo "build/docs/html/index.html"
