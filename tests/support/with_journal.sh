#!/bin/sh
# Usage: with_journal.sh COMMAND [ARGUMENT...]
# Runs the command with a systemd journal of its own, then prints the journal's entries of the
# identifier JOURNAL_IDENTIFIER, "spdlog" where it is not set, as JSON lines. The command's standard
# output goes to standard error.
#
# The journal lives in a private mount namespace: the machine's own is neither read nor written.
# Exit status 77, with the reason on standard output, where that is impossible.
set -eu

readonly JOURNALD=/lib/systemd/systemd-journald

skip() {
  echo "$1"
  exit 77
}

if [ "${JOURNAL_NAMESPACE-}" != made ]; then
  [ -x "${JOURNALD}" ] || skip "${JOURNALD} is not installed"
  command -v journalctl >/dev/null || skip "journalctl is not installed"
  [ -s /etc/machine-id ] || skip "/etc/machine-id is missing or empty"
  unshare --mount true 2>/dev/null || skip "a mount namespace cannot be made (root needed)"
  JOURNAL_NAMESPACE=made exec unshare --mount "$0" "$@"
fi

mount -t tmpfs journal-test /run || skip "/run cannot be mounted over"
mkdir -p /run/systemd/journal /run/log/journal
"${JOURNALD}" >/dev/null 2>&1 &
journald=$!
trap 'kill "${journald}" 2>/dev/null; wait "${journald}" || true' EXIT

for _ in $(seq 100); do
  [ ! -S /run/systemd/journal/socket ] || break
  kill -0 "${journald}" 2>/dev/null || skip "systemd-journald ended at once"
  sleep 0.1
done
[ -S /run/systemd/journal/socket ] || skip "systemd-journald made no socket within ten seconds"

"$@" >&2
journalctl --sync
journalctl --directory=/run/log/journal --no-pager --output=json \
  "SYSLOG_IDENTIFIER=${JOURNAL_IDENTIFIER-spdlog}"
