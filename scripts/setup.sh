#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need, when they are missing,
# and the decimal-comma locale that the locale tests use.
set -euo pipefail

packages=(cmake ninja-build g++ clang libclang-rt-14-dev pkg-config locales libgtest-dev libgmock-dev
          libbenchmark-dev libaravis-dev libusb-1.0-0-dev libcli11-dev libpng-dev libopencv-imgproc-dev
          libopencv-imgcodecs-dev libtiff-dev libdeflate-dev
          libxxhash-dev nlohmann-json3-dev pybind11-dev python3-dev python3-numpy python3-pytest
          libcpp-httplib-dev libturbojpeg0-dev chromium python3-websocket libxml2-utils
          libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools gstreamer1.0-plugins-base
          gstreamer1.0-plugins-good)
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

if ! locale -a 2>/dev/null | grep -qix 'de_DE.utf8'; then
  echo "setup: generating the de_DE.UTF-8 locale"
  $sudo localedef -i de_DE -f UTF-8 de_DE.UTF-8 || echo "setup: could not generate de_DE.UTF-8; locale tests will skip"
fi
