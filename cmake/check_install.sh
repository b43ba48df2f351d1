#!/usr/bin/env bash
# Install a build into an empty prefix, move it, and build and run the programs of cmake/consumer there: by
# find_package, and the C program by pkg-config too.
#
#   cmake/check_install.sh SOURCE_DIR BUILD_DIR COMPILER_FLAGS
set -euo pipefail

source_dir=$1 build_dir=$2 flags=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export ZUK_CONFIG_DIR=$work/settings   # none, rather than those of this machine

cmake --install "$build_dir" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/moved"
prefix=$work/moved

cmake -S "$source_dir/cmake/consumer" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" \
    -G Ninja -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/build"
"$work/build/by_shared"
"$work/build/by_static"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name zuk.pc)")
export PKG_CONFIG_PATH
# The words of both are flags each.
# shellcheck disable=SC2046,SC2086
cc -std=c99 $flags "$source_dir/cmake/consumer/main.c" -o "$work/by_pkg_config" $(pkg-config --cflags --libs zuk)
LD_LIBRARY_PATH=$(pkg-config --variable=libdir zuk) "$work/by_pkg_config"

# The tool, where it was built, runs from its new place.
if [[ -e $prefix/bin/zuk ]]; then
    "$prefix/bin/zuk" --help >/dev/null
fi
find "$prefix" -type f -printf '%P\n' | LC_ALL=C sort
