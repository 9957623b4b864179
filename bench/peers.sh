#!/usr/bin/env bash
# Side-by-side speed figures, in one run, on generated inputs (never committed):
#   JEDEC: a file of 100,000,000 fuses (128 digits a line) read by JEDEC2SVFPlus and compared
#   with itself by fnJEDFileCompare, beside reading the same file with fread (the I/O floor).
# Usage: bench/peers.sh [FUSES]
set -euo pipefail
cd "$(dirname "$0")/.."
fuses="${1:-100000000}"
work="${TMPDIR:-/tmp}/fusekit-peers"
mkdir -p "$work"

cmake --preset bench >/dev/null
cmake --build --preset bench >/dev/null

jedec="$work/fuses-$fuses.jed"
if [ ! -s "$jedec" ]; then
  echo "generating $jedec" >&2
  python3 bench/gen_jedec.py "$jedec" "$fuses" 128
fi
echo "== JEDEC, $fuses fuses ($(du -h "$jedec" | cut -f1))"
build/bench/bench/jedec_peers "$jedec" "$fuses"
