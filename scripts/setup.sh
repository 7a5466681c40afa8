#!/usr/bin/env bash
# Installs the Debian 12 packages Kestrava builds and tests with (scripts/debian-packages.txt).
# Quick when everything is present: one dpkg-query, no apt call.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
mapfile -t wanted < <(grep -v '^[[:space:]]*#' "$here/debian-packages.txt" | sed '/^[[:space:]]*$/d')

installed="$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "${wanted[@]}" 2>/dev/null | awk '$2=="installed"{print $1}' || true)"
missing=()
for package in "${wanted[@]}"; do
  grep -qx "$package" <<<"$installed" || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "Kestrava setup: need root or sudo to install: ${missing[*]}" >&2; exit 1; }
  sudo="sudo"
fi
echo "Kestrava setup: installing ${missing[*]}" >&2
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
