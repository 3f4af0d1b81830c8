#!/bin/sh
# Installs the build tree into a scratch prefix, builds a consumer against it with
# find_package and with pkg-config, and runs both.
set -eu
build=$1 source=$2 scratch=$3
rm -rf "$scratch"
cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
libdir=$(find "$scratch/prefix" -name 'liblumdc.so' -printf '%h\n' | head -n 1)
PKG_CONFIG_PATH="$libdir/pkgconfig" cmake -S "$source/tests/abi/consumer" -B "$scratch/consumer" \
  -DCMAKE_PREFIX_PATH="$scratch/prefix" -DCONSUMER_SOURCE="$source/tests/abi/c99_consumer.c" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
LD_LIBRARY_PATH="$libdir" "$scratch/consumer/consumer_cmake"
LD_LIBRARY_PATH="$libdir" "$scratch/consumer/consumer_pkgconfig"
