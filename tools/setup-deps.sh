#!/bin/sh
# Installs the Debian packages that building and testing kwa need. As root,
# installs what is missing (apt-get update only when something is); otherwise
# lists the missing packages and fails.
set -eu

# locales provides the POSIX locale sources and charmaps under /usr/share/i18n
# that the locale compiler reads; zlib1g-dev reads its gzip'd charmaps.
packages="cmake ninja-build g++ libgtest-dev libbenchmark-dev zlib1g-dev locales g++-mingw-w64-i686"

missing=""
for p in $packages; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  if [ "$status" != "install ok installed" ]; then
    missing="$missing $p"
  fi
done

if [ -z "$missing" ]; then
  exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
  echo "missing packages:$missing" >&2
  echo "install them with: sudo apt-get update && sudo apt-get install -y$missing" >&2
  exit 1
fi

apt-get update
# shellcheck disable=SC2086
DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends $missing
