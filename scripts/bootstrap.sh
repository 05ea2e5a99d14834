#!/usr/bin/env bash
# Installs the Debian packages the build needs; does nothing when all are present.
#
#   scripts/bootstrap.sh       the host build, the sanitizer build and the tool's tests
#   scripts/bootstrap.sh 32    also the 32-bit x86 build (make check32), and qemu-user where the
#                              host's kernel does not run i386 programs itself
set -euo pipefail
pkgs=(cmake make g++ pkg-config liblz4-dev libcli11-dev libgtest-dev libgmock-dev libbenchmark-dev
      clang libclang-rt-dev valgrind tshark can-utils zlib1g-dev chromium-headless-shell
      python3-dev pybind11-dev python3-numpy python3-pandas python3-can python3-canmatrix
      python3-dask python3-distributed python3-pytest)
want32=0
if [ "${1:-}" = 32 ]; then
  want32=1
  # CLI11 is header-only: the host's package serves both builds.
  # zlib as a multilib package: zlib1g-dev:i386 pulls libc6-dev:i386, which must match the host's
  # kernel headers exactly and so often cannot be installed beside them.
  pkgs+=(g++-multilib liblz4-dev:i386 lib32z1-dev libgtest-dev:i386 libgmock-dev:i386)
fi

newArch=0
if [ $want32 -eq 1 ] && ! dpkg --print-foreign-architectures | grep -qx i386; then
  newArch=1
fi
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
# Another installer (an unattended upgrade on a fresh machine) may hold the lock: wait for it.
aptGet() { $SUDO apt-get -o DPkg::Lock::Timeout=600 "$@"; }

# Whether this host runs a 32-bit x86 program itself; once the compiler is there, the answer
# decides whether check32 needs an emulator.
runs32() {
  local dir rc=0
  dir=$(mktemp -d)
  echo 'int main(void) { return 0; }' > "$dir/p.c"
  { gcc -m32 -o "$dir/p" "$dir/p.c" && "$dir/p"; } >/dev/null 2>&1 || rc=1
  rm -rf "$dir"
  return $rc
}
install32Emulator() {
  [ $want32 -eq 1 ] || return 0
  [ "${EMULATE32:-}" != 1 ] && runs32 && return 0
  dpkg-query -W -f='${Status}' qemu-user 2>/dev/null | grep -q "install ok installed" && return 0
  echo "bootstrap: this host does not run i386 programs; installing qemu-user"
  aptGet install -y --no-install-recommends qemu-user
}

if [ ${#missing[@]} -eq 0 ] && [ $newArch -eq 0 ]; then
  install32Emulator
  exit 0
fi
echo "bootstrap: installing ${missing[*]}"
# tshark asks whether non-root users may capture; the answer does not matter here.
echo "wireshark-common wireshark-common/install-setuid boolean false" | $SUDO debconf-set-selections 2>/dev/null || true
# A mirror caught mid-sync may fail one index; the packages are usually still to be had, and a
# real lack shows in the install that follows.
update() { aptGet update || echo "bootstrap: apt-get update reported errors; trying anyway"; }
if [ $newArch -eq 1 ]; then
  # The new architecture's package lists exist only after an update.
  $SUDO dpkg --add-architecture i386
  update
fi
if ! aptGet install -y --no-install-recommends "${missing[@]}"; then
  update
  aptGet install -y --no-install-recommends "${missing[@]}"
fi
install32Emulator
