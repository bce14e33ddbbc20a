#!/bin/bash
# The IETF modules of Debian's libyuma-base, whose schema is mostly built from
# groupings: every module (not submodule) loads with no diagnostic, and the
# printed trees (all features on) equal the expected trees kept beside this
# script; requests and notifications built from groupings validate as
# expected.  Exit 77 (skipped) when the folder is absent.
# usage: grouping_trees.sh KORLA [MODULE_DIR]
korla=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
dir=${2:-/usr/share/yuma/modules/ietf}
trees=$(cd "$(dirname "$0")" && pwd)/trees
messages=$(cd "$(dirname "$0")" && pwd)/messages
if [ ! -d "$dir" ]; then
  echo "skipped: $dir absent (Debian package libyuma-base)"
  exit 77
fi
fail=0
for file in "$dir"/*.yang; do
  grep -q '^submodule ' "$file" && continue
  name=$(basename "$file" .yang)
  name=${name%@*}
  if ! out=$("$korla" -p "$dir" check "$name" 2>&1) || [ "$out" != "no diagnostics" ]; then
    echo "FAIL load $name: $out"
    fail=1
  fi
done
# Each expected tree is named after the modules printed, joined by '+'.
for expected in "$trees"/*.tree; do
  modules=$(basename "$expected" .tree | tr '+' ' ')
  features=()
  for m in $modules; do features+=(-F "$m:*"); done
  # shellcheck disable=SC2086
  if ! "$korla" -p "$dir" "${features[@]}" tree $modules | diff -u "$expected" - ; then
    echo "FAIL tree $modules"
    fail=1
  fi
done
validations=$(cd "$messages" &&
  "$korla" -p "$dir" -F 'ietf-alarms:*' validate -m ietf-alarms purge-alarms-*.xml
  "$korla" -p "$dir" validate --notification -m ietf-netconf-notifications -m ietf-alarms config-change-*.xml)
if ! diff -u "$messages/expected.txt" - <<<"$validations"; then
  echo "FAIL validations"
  fail=1
fi
[ $fail -eq 0 ] && echo "all modules load, all trees match"
exit $fail
