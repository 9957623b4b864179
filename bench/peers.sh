#!/usr/bin/env bash
# Side-by-side speed figures, in one run, on generated inputs (never committed):
#   JEDEC: a file of 100,000,000 fuses (128 digits a line) read by JEDEC2SVFPlus and compared
#   with itself by fnJEDFileCompare, beside reading the same file with fread (the I/O floor);
#   then written back by SVFPlus2JEDEC beside the fwrite and fread floors of what it writes.
#   Images: a 32 MiB image as Intel hex, S3 records and extended Tektronix converted to binary
#   by fusekit, srec_cat and objcopy, beside the fread floor of each input.
#   Bitstreams: a 32 MiB configuration bitstream written by the generator, read by BIT2SVFPlus
#   and converted by BIT2ISC, beside its fread floor.
#   ISC: the same file converted to an ISC data file by `fusekit convert` and read back by
#   ISC2SVFPlus, each beside the fread floor of the file it reads.
#   Compares: the JEDEC, ISC and a bitstream of as many bits, each compared with a copy of
#   itself, beside the fread floor of the two files.
# Usage: bench/peers.sh [FUSES [IMAGE_BYTES]]
set -euo pipefail
cd "$(dirname "$0")/.."
fuses="${1:-100000000}"
image_bytes="${2:-33554432}"
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
echo "== Compares, $fuses fuses"
build/bench/bench/compare_peers build/bench/bin/fusekit "$jedec" "$isc" "$work" "$fuses"

image="$work/image-$image_bytes"
if [ ! -s "$image.objcopy.xtek" ]; then
  echo "generating $image.*" >&2
  python3 bench/gen_image.py "$image" "$image_bytes"
fi
echo "== Images, $image_bytes bytes (Intel hex $(du -h "$image.hex" | cut -f1))"
if command -v srec_cat >/dev/null && command -v objcopy >/dev/null; then
  build/bench/bench/image_peers "$PWD/build/bench/bin/fusekit" "$image"
else
  echo "srec_cat (Debian srecord) and objcopy (binutils) are needed for the image figures"
fi

echo "== Bitstreams"
build/bench/bench/bitstream_peers "$work" 32
