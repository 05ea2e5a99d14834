#!/usr/bin/env bash
# Compares what two builds of the library export (nm -DC --defined-only), e.g. a 64-bit and a
# 32-bit one. Integer types count by signedness only: size_t, uint64_t and int64_t are spelled
# differently on the two, and that is no difference of the interface. Instantiations of the
# standard library's own templates are left out: the optimiser emits or inlines them differently
# on each target, and no caller links against them (a member template's name starts with its
# return type).
set -euo pipefail
exports() {
  nm -DC --defined-only "$1" | cut -d' ' -f3- | grep -Ev '^([[:alnum:]_:]+[*&]* )?(std::|__gnu_cxx::)' |
    sed -E 's/\bunsigned (long long|long|int)\b/UINT/g; s/\b(long long|long|int)\b/INT/g' | sort
}
a=$(exports "$1")
b=$(exports "$2")
[ -n "$a" ] || { echo "no exports read from $1"; exit 1; }
if ! diff <(echo "$a") <(echo "$b"); then
  echo "exports differ: < $1, > $2"
  exit 1
fi
echo "$(echo "$a" | wc -l) exported names alike in both builds"
