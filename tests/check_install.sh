#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds two small consumers
# against it: one through pkg-config, one through find_package(korla).
# Usage: check_install.sh BUILD_DIR CMAKE
set -euo pipefail
build="$1"
cmake_bin="$2"

work="$(mktemp -d /tmp/korla-install-XXXXXX)"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

"$cmake_bin" --install "$build" --prefix "$prefix" >"$work/install.log"
test -f "$prefix/include/korla.h"

cat >"$work/consumer.c" <<'SRC'
#include <stdio.h>
#include <korla.h>

int main(void)
{
    KzCtx *ctx = KZ_CTX_Create(KZ_CTX_OPT_LOAD_IMPORTS);
    if (ctx == NULL) {
        return 1;
    }
    uint32_t rc = KZ_CTX_SetSearchDir(ctx, "relative/dir");
    KZ_CTX_Delete(ctx);
    printf("search dir status %u\n", rc);
    return rc == KZ_ENOTDIR ? 0 : 1;
}
SRC

pc="$(find "$prefix" -name 'korla.pc' -print -quit)"
[ -n "$pc" ] || { echo "korla.pc not installed"; exit 1; }
pcdir="$(dirname "$pc")"
libdir="$(dirname "$pcdir")"
flags="$(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs korla)"
echo "pkg-config: $flags"
# shellcheck disable=SC2086
cc -Wall -Wextra -Werror -o "$work/consumer-pc" "$work/consumer.c" $flags

mkdir -p "$work/cm"
cp "$work/consumer.c" "$work/cm/consumer.c"
cat >"$work/cm/CMakeLists.txt" <<SRC
cmake_minimum_required(VERSION 3.20)
project(korla_consumer C)
find_package(korla REQUIRED)
add_executable(consumer consumer.c)
target_link_libraries(consumer PRIVATE korla::korla)
SRC
"$cmake_bin" -S "$work/cm" -B "$work/cm/build" -DCMAKE_PREFIX_PATH="$prefix" >"$work/cm.log"
"$cmake_bin" --build "$work/cm/build" >>"$work/cm.log"

LD_LIBRARY_PATH="$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}" "$work/consumer-pc"
"$work/cm/build/consumer"
echo "install consumers ok"
