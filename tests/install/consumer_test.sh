#!/usr/bin/env bash
# Installs the built library into a scratch root and builds a small consumer against it, once
# through pkg-config and once through find_package(vxtrace), the latter with the export library.
set -euo pipefail
src=$1 bin=$2 cxx=$3 extra=${4:-}
# A 32-bit build on a host without i386 support runs its programs through an emulator.
run=${VXTRACE_EMULATOR:-}
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
DESTDIR="$root/dest" cmake --install "$bin" --prefix /usr >/dev/null
prefix="$root/dest/usr"

# Built as a caller would be, without the library's own _FILE_OFFSET_BITS and _TIME_BITS: in a
# 32-bit build the date past 2038 shows that the library's 64-bit time stays inside it.
cat > "$root/main.cpp" <<'CPP'
#include <iostream>
#include <memory>
#include <vxtrace/vxtrace.h>
#ifdef WITH_EXPORT
#include <vxtrace/export/Exporter.h>
#endif
int main() {
  MessageBase::registerMessages();
  StringMessageBase<MSGID_VERSION> v(2208988800500000ULL, "0.1");
  std::vector<unsigned char> bytes;
  v.createByteArray(bytes, false, false);
  std::unique_ptr<MessageBase> back(MessageBase::readFromByteArray(bytes.data(), bytes.size()));
  std::cout << back->toString() << std::endl;
#ifdef WITH_EXPORT
  std::string json;
  vxtrace::CallbackSink sink([&](const uint8_t* p, std::size_t n) { json.append((const char*)p, n); });
  auto exporter = vxtrace::makeExporter("jsonl", sink);
  exporter->add(v);
  if (json.find("\"kind\": \"MSGID_VERSION\"") == std::string::npos) return 1;
#endif
  return *back == v ? 0 : 1;
}
CPP
expected="2040-01-01 00:00:00.500000  VERSION     | 0.1"

pcdir=$(dirname "$(find "$prefix" -name vxtrace.pc | head -n 1)")
libdir=$(dirname "$(find "$prefix" -name 'libvxtrace.so.0' | head -n 1)")
# shellcheck disable=SC2046,SC2086
"$cxx" -std=c++17 $extra -o "$root/pc_consumer" "$root/main.cpp" \
  $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs vxtrace)
# shellcheck disable=SC2086
out=$(LD_LIBRARY_PATH="$libdir" $run "$root/pc_consumer")
[ "$out" = "$expected" ] || { echo "pkg-config consumer printed '$out'"; exit 1; }

mkdir -p "$root/cm"
cat > "$root/cm/CMakeLists.txt" <<'CMK'
cmake_minimum_required(VERSION 3.16)
project(consumer CXX)
set(CMAKE_CXX_STANDARD 17)
find_package(vxtrace REQUIRED)
add_executable(consumer ../main.cpp)
target_link_libraries(consumer PRIVATE vxtrace::vxtrace vxtrace::export)
target_compile_definitions(consumer PRIVATE WITH_EXPORT)
CMK
cmake -S "$root/cm" -B "$root/cm/build" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_CXX_FLAGS="$extra" -DCMAKE_EXE_LINKER_FLAGS="$extra" \
  -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$root/cm/build" >/dev/null
# shellcheck disable=SC2086
out=$(LD_LIBRARY_PATH="$libdir" $run "$root/cm/build/consumer")
[ "$out" = "$expected" ] || { echo "find_package consumer printed '$out'"; exit 1; }
echo "both consumers built and ran"
