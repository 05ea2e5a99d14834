#!/usr/bin/env bash
# Installs the Debian packages the build needs; does nothing when all are present.
#
#   scripts/bootstrap.sh       the host build, the sanitizer build and the tool's tests
#   scripts/bootstrap.sh 32    also the 32-bit x86 build (make check32)
set -euo pipefail
pkgs=(cmake make g++ pkg-config liblz4-dev libcli11-dev libgtest-dev libgmock-dev libbenchmark-dev
      clang libclang-rt-dev valgrind python3-can tshark)
want32=0
if [ "${1:-}" = 32 ]; then
  want32=1
  # CLI11 is header-only: the host's package serves both builds.
  pkgs+=(g++-multilib liblz4-dev:i386 libgtest-dev:i386 libgmock-dev:i386)
fi

newArch=0
if [ $want32 -eq 1 ] && ! dpkg --print-foreign-architectures | grep -qx i386; then
  newArch=1
fi
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && [ $newArch -eq 0 ] && exit 0
echo "bootstrap: installing ${missing[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
# tshark asks whether non-root users may capture; the answer does not matter here.
echo "wireshark-common wireshark-common/install-setuid boolean false" | $SUDO debconf-set-selections 2>/dev/null || true
# A mirror caught mid-sync may fail one index; the packages are usually still to be had, and a
# real lack shows in the install that follows.
update() { $SUDO apt-get update || echo "bootstrap: apt-get update reported errors; trying anyway"; }
if [ $newArch -eq 1 ]; then
  # The new architecture's package lists exist only after an update.
  $SUDO dpkg --add-architecture i386
  update
fi
if ! $SUDO apt-get install -y --no-install-recommends "${missing[@]}"; then
  update
  $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
fi
