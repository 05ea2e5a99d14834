#!/usr/bin/env bash
# Prints what 32-bit x86 programs must be run through on this host: nothing when the kernel runs
# them itself, "qemu-i386" when it does not (or when EMULATE32=1 asks for the emulator anyway).
set -euo pipefail
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
echo 'int main(void) { return 0; }' > "$dir/p.c"
gcc -m32 -o "$dir/p" "$dir/p.c"
if [ "${EMULATE32:-}" != 1 ] && "$dir/p" 2>/dev/null; then
  exit 0
fi
command -v qemu-i386 >/dev/null || { echo "emulator32: no qemu-i386 (package qemu-user)" >&2; exit 1; }
qemu-i386 "$dir/p" || { echo "emulator32: qemu-i386 does not run a 32-bit program" >&2; exit 1; }
echo qemu-i386
