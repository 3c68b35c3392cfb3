#!/usr/bin/env bash
# Installs the Debian 12 packages the build and the tests need, when missing.
# Runs as root (or through sudo when available).
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config clang libclang-rt-14-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libsqlcipher-dev sqlcipher libcli11-dev
  openjdk-17-jdk-headless
  unicode-data python3 bzip2
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "installing: ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null 2>&1; then SUDO=sudo; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
