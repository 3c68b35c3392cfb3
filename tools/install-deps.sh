#!/usr/bin/env bash
# Installs the Debian 12 packages the build and the tests need, when missing.
# Runs as root (or through sudo when available).
#
# Usage: bash tools/install-deps.sh [armhf] [arm64]
# Each named ARM target also gets its cross compiler, qemu-user, and a sysroot
# build/sysroot/<triplet> holding the target's SQLCipher and GoogleTest. The
# target's packages are unpacked from their .deb files instead of installed:
# libsqlcipher-dev is not Multi-Arch, so it cannot sit beside the host's own.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(
  build-essential cmake ninja-build pkg-config clang libclang-rt-14-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libsqlcipher-dev sqlcipher libcli11-dev
  openjdk-17-jdk-headless
  unicode-data python3 bzip2
)

triplet_of() {
  case $1 in
    armhf) echo arm-linux-gnueabihf ;;
    arm64) echo aarch64-linux-gnu ;;
    *) echo "unknown target architecture: $1" >&2; exit 2 ;;
  esac
}

targets=("$@")
for arch in "${targets[@]}"; do
  packages+=("g++-$(triplet_of "$arch")" qemu-user)
done

SUDO=""
if [ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null 2>&1; then SUDO=sudo; fi
export DEBIAN_FRONTEND=noninteractive

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The target's libraries: SQLCipher with the libcrypto it links, and the
# static GoogleTest and GoogleMock with their headers and CMake packages.
sysroot_packages="libsqlcipher-dev libsqlcipher0 libssl3 libgtest-dev libgmock-dev"

make_sysroot() {
  local arch=$1 triplet root apt_dir
  triplet=$(triplet_of "$arch")
  root=$PWD/build/sysroot/$triplet
  [ "$(cat "$root/.packages" 2>/dev/null)" = "$sysroot_packages" ] && return 0
  echo "unpacking the $arch packages into $root"
  # A private package index of the target architecture: the host's dpkg
  # configuration stays as it is.
  apt_dir=$PWD/build/sysroot/apt-$arch
  mkdir -p "$apt_dir/lists/partial" "$apt_dir/cache/archives/partial" "$apt_dir/debs"
  local apt=(-q -o "APT::Architecture=$arch" -o "APT::Architectures::=$arch"
             -o "Dir::State::Lists=$apt_dir/lists" -o "Dir::Cache=$apt_dir/cache"
             -o Dir::State::status=/dev/null -o APT::Sandbox::User=root)
  # A mirror in the middle of a sync fails one index; the download below says
  # whether what is needed was found.
  apt-get "${apt[@]}" update >"$apt_dir/update.log" 2>&1 ||
    echo "warning: apt-get update for $arch reported errors (see $apt_dir/update.log)"
  rm -f "$apt_dir"/debs/*.deb
  # shellcheck disable=SC2086
  (cd "$apt_dir/debs" && apt-get "${apt[@]}" download $sysroot_packages)
  rm -rf "$root"
  mkdir -p "$root"
  for deb in "$apt_dir"/debs/*.deb; do
    dpkg -x "$deb" "$root"
  done
  echo "$sysroot_packages" >"$root/.packages"
}

for arch in "${targets[@]}"; do
  make_sysroot "$arch"
done
