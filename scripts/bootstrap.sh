#!/usr/bin/env bash
# Installs the Debian packages the build needs; does nothing when all are present.
set -euo pipefail
pkgs=(cmake make g++ pkg-config liblz4-dev libcli11-dev libgtest-dev libgmock-dev libbenchmark-dev
      clang libclang-rt-dev valgrind python3-can tshark)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "bootstrap: installing ${missing[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
# tshark asks whether non-root users may capture; the answer does not matter here.
echo "wireshark-common wireshark-common/install-setuid boolean false" | $SUDO debconf-set-selections 2>/dev/null || true
if ! $SUDO apt-get install -y --no-install-recommends "${missing[@]}"; then
  $SUDO apt-get update
  $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
fi
