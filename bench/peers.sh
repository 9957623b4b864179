#!/usr/bin/env bash
# Side-by-side speed figures, in one run, on generated inputs (never committed):
#   JEDEC: a file of 100,000,000 fuses (128 digits a line) read by JEDEC2SVFPlus and compared
#   with itself by fnJEDFileCompare, beside reading the same file with fread (the I/O floor).
#   ISC: the same file converted to an ISC data file by `fusekit convert` and read back by
#   ISC2SVFPlus, each beside the fread floor of the file it reads.
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

db="$work/bench-devices.json"
cat >"$db" <<JSON
{"format": "fusekit-devices", "version": 1, "devices": [
  {"name": "BENCH", "family": "generic", "address_length": $((fuses / 128)), "data_length": 128,
   "fuse_number": $fuses, "id_length": 32, "jtag_device_id": "0x01234043",
   "physical_ues_length": 32, "jtag_logical_ues_length": 32, "isp_logical_ues_length": 32}
]}
JSON
isc="$work/fuses-$fuses.isc"
echo "== ISC, $fuses fuses"
build/bench/bench/isc_peers build/bench/bin/fusekit "$db" "$jedec" "$isc" "$fuses"
echo "ISC data file: $(du -h "$isc" | cut -f1)"
