#!/bin/bash
# Usage: unit_test.sh PREFIX MINIMAL_HOST
# Fails unless systemd takes the example's unit as it is and calls its exposure low, and the unit
# keeps what that figure does not count. Exit status 77 where that cannot be found out.
set -euo pipefail
prefix=$1 host=$2
readonly MOST_EXPOSURE=1.0  # of 10; systemd calls up to 2 safe

command -v systemd-analyze >/dev/null || {
  echo "unit: skipped: systemd-analyze is not installed"
  exit 77
}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unit=$work/minimal-host.service
# verify looks for the program too.
sed "s|/usr/local/bin/minimal_host|$host|" \
  "$prefix/share/dirty_seg/examples/systemd/minimal-host.service" >"$unit"

failed=0
complaints=$(systemd-analyze verify --man=no "$unit" 2>&1) || failed=1
# Faults that systemd would pass over with a warning count as well.
! grep -qF minimal-host.service <<<"$complaints" || failed=1
[ "$failed" -eq 0 ] || echo "$complaints"
# An option of systemd 250.
systemd-analyze security --offline=true \
  "--threshold=$(tr -d . <<<"$MOST_EXPOSURE")" "$unit" >"$work/exposure" 2>&1 || failed=1
tail -n 1 "$work/exposure"
for setting in NoNewPrivileges=yes ProtectSystem=strict \
  StandardOutput=journal StandardError=journal \
  'Environment=SPDLOG_STDOUT=false SPDLOG_SYSTEMD=true SPDLOG_LEVEL=info' \
  'DeviceAllow=char-video4linux rw' 'MemoryMax=[0-9]+[MG]' MemorySwapMax=0 \
  RestartPreventExitStatus=2; do
  grep -qxE "$setting" "$unit" || {
    echo "unit: no $setting"
    failed=1
  }
done
exit "$failed"
