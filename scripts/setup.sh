# Sourced by the scripts beside it: the Debian packages that are needed, and the build.

top=$(CDPATH='' cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)

# What each kind of work needs beyond a minimal Debian.
packages_build="g++ cmake ninja-build pkg-config qt6-base-dev libpipewire-0.3-dev libsystemd-dev
  libplist-dev libgtest-dev libgmock-dev python3"
packages_run="pipewire pipewire-bin dbus-daemon dbus-bin fonts-dejavu-core xdg-utils"
packages_wayland="qt6-wayland"
packages_bench="libbenchmark-dev libpugixml-dev libexpat1-dev libtinyxml2-dev python3"
packages_picture="xvfb x11-utils imagemagick"
packages_fuzz="clang libclang-rt-dev"
packages_test="at-spi2-core gir1.2-atspi-2.0 python3-gi libplist-utils xdotool"

say() { printf '%s\n' "==> $*"; }
fail() { printf '%s\n' "$*" >&2; exit 1; }

installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

# install_packages NAME...: installs those that are missing; root is asked for only when some are.
install_packages() {
  local package missing=() as_root=() by_hand
  command -v dpkg-query >/dev/null || { say "No Debian packages here; trusting that $* are present"; return; }
  for package in "$@"; do installed "$package" || missing+=("$package"); done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "Installing from Debian: ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    by_hand="As root: apt-get install --no-install-recommends ${missing[*]}"
    command -v sudo >/dev/null || fail "Root is needed for that. $by_hand"
    sudo true || fail "sudo did not give root. $by_hand"
    as_root=(sudo)
  fi
  "${as_root[@]}" apt-get update -qq || fail "apt-get could not read the package lists"
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${missing[@]}" || fail "The packages could not be installed"
}

# build PRESET [TARGET...]: configures on the first time, then builds what changed.
build() {
  local preset=$1; shift
  say "Building ($preset)"
  cd "$top" || exit 1
  [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" ||
    fail "The $preset build could not be configured"
  cmake --build --preset "$preset" ${1:+--target "$@"} || fail "The $preset build failed"
}
