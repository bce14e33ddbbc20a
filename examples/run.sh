#!/usr/bin/env bash
# Runs the korla tool on the bundled examples: checks the modules, prints a schema tree, and
# validates every request and notification document. The invalid-* documents are meant to be
# refused, so the request run must end with exit status 1 (some document invalid).
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
korla="${1:-$here/../build/tools/korla}"
yin=(-p "$here/yin" -p "$here/yang") # acme-system-ext is kept as YANG text

"$korla" "${yin[@]}" check acme-system acme-system-ext acme-interfaces acme-routing acme-maintenance
"$korla" "${yin[@]}" tree acme-maintenance

status=0
"$korla" "${yin[@]}" validate -m acme-system -m acme-maintenance "$here"/requests/*.xml || status=$?
if [ "$status" -ne 1 ]; then
    echo "requests: expected exit status 1 (invalid examples refused), got $status" >&2
    exit 1
fi
"$korla" "${yin[@]}" validate --notification -m acme-system -m acme-maintenance "$here"/notifications/valid-*.xml
