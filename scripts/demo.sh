#!/usr/bin/env bash
# Writes a sample trace holding every record kind the library has, then shows its statistics,
# the first lines of its dump and every record that is not CAN traffic.
# Usage: scripts/demo.sh [build-dir]   (default build/release)
set -euo pipefail
build=${1:-build/release}
tool=$build/tools/vxtrace/vxtrace
sample=$build/sample.vxt
if [ ! -x "$tool" ]; then
  echo "demo: $tool not found; build first (make release)" >&2
  exit 2
fi

echo "== vxtrace gen --records 5000 --seed 1 $sample"
"$tool" gen --records 5000 --seed 1 "$sample"
echo
echo "== vxtrace stats $sample"
"$tool" stats "$sample"
echo
echo "== vxtrace dump $sample --count 30"
"$tool" dump "$sample" --count 30
echo
echo "== vxtrace dump $sample --channel 'LOGGER INTERN'   (the logger's own records)"
"$tool" dump "$sample" --channel "LOGGER INTERN"
echo
echo "== vxtrace dump $sample --id MSGID_CAN_EXT --count 8 --raw"
"$tool" dump "$sample" --id MSGID_CAN_EXT --count 8 --raw
echo
bundled=$build/sample-containers.vxt
echo "== vxtrace gen --records 5000 --seed 1 --containers $bundled   (bus records in LZ4 containers)"
"$tool" gen --records 5000 --seed 1 --containers "$bundled"
ls -l "$sample" "$bundled" | awk '{print "  " $5 " bytes  " $NF}'
echo "== vxtrace dump $bundled --count 14   (a container's line, then the records inside it)"
"$tool" dump "$bundled" --count 14
