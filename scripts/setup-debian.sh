#!/usr/bin/env bash
# Installs every Debian package the project needs to build, test and benchmark.
# Run as root (or through sudo) on a fresh Debian 12 machine.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git clang-format
  qt6-base-dev qt6-base-dev-tools qt6-qpa-plugins qt6-serialport-dev qt6-tools-dev qt6-image-formats-plugins libqt6opengl6-dev
  libgl-dev libxkbcommon-dev fonts-dejavu-core fonts-wqy-microhei
  libgtest-dev libgmock-dev googletest
  libtirpc-dev
  python3-pyvisa-py python3-numpy python3-serial
  dpkg-dev file
  clang libclang-rt-14-dev libavahi-client-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all ${#packages[@]} Debian packages are already installed."
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
echo "setup: done."
