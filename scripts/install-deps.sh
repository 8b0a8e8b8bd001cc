#!/usr/bin/env bash
# Installs the Debian packages a fresh machine lacks for building and testing.
set -euo pipefail
packages=(build-essential cmake pkg-config libgtest-dev libgmock-dev libbenchmark-dev
          libssl-dev zlib1g-dev libxml2-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  SUDO=""; [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -y -qq
  $SUDO apt-get install -y -qq "${missing[@]}"
fi
