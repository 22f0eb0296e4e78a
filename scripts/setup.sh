# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Sourced by the scripts beside it: the Debian packages that are needed, and the build.

top=$(CDPATH='' cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd -P)
logs=$top/build/logs

# The Debian packages that each kind of work needs beyond a minimal system, for the scripts that source this.
# shellcheck disable=SC2034
{
packages_build="g++ cmake ninja-build pkg-config qt6-base-dev libpipewire-0.3-dev libsystemd-dev
  libplist-dev libcli11-dev nlohmann-json3-dev"
packages_run="pipewire pipewire-bin dbus-daemon dbus-bin fonts-dejavu-core xdg-utils"
packages_wayland="qt6-wayland"
packages_picture="xvfb x11-utils imagemagick"
packages_test="libgtest-dev libgmock-dev python3 at-spi2-core gir1.2-atspi-2.0 python3-gi
  python3-xlib libplist-utils locales xdotool orca python3-pyatspi openbox weston
  qt6-wayland zsh fish python3-jsonschema jq wireplumber pipewire-pulse pipewire-jack pulseaudio-utils
  libpipewire-0.3-modules libspa-0.2-modules"
packages_package="build-essential debhelper lowdown"
packages_package_check="lintian python3"
packages_bench="libbenchmark-dev libpugixml-dev libexpat1-dev libtinyxml2-dev python3 python3-xlib xvfb
  at-spi2-core strace systemd"
packages_full="clang libclang-rt-dev clang-format clang-tidy shellcheck desktop-file-utils appstream systemd debootstrap"
}

say() { printf '%s\n' "==> $*"; }
fail() { printf '%s\n' "$*" >&2; exit 1; }

# Prints the comment at the beginning of the script, below its licence.
show_help() { awk 'NR > 2 { if (!/^#/) exit; sub(/^# ?/, ""); print }' "$0"; }

installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }

# The system's name, for messages.
system_name() (
  PRETTY_NAME=
  # shellcheck disable=SC1091
  [ ! -r /etc/os-release ] || . /etc/os-release
  printf '%s' "${PRETTY_NAME:-an unknown system}"
)

# prepare PRESET MEGABYTES PACKAGE...: installs the missing packages; fails with one line if the project cannot
# be built here. The builds from this preset on take so many megabytes.
prepare() {
  local folder=$top/build/$1 needed=$2 free
  shift 2
  mkdir -p "$logs" 2>/dev/null && [ -w "$logs" ] ||
    fail "$logs cannot be written: clone the project into a folder of your own"
  free=$(df -Pk "$top" | awk 'NR == 2 { print int($4 / 1024) }')
  [ -e "$folder" ] || [ "$free" -ge "$needed" ] ||
    fail "The disk of $top has $free MB free, and building takes $needed MB: make room"
  install_packages "$@"
}

# install_packages PACKAGE...: asks for root only when packages are missing.
install_packages() {
  local package missing=() as_root=() by_hand log=$logs/packages.log
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    for package in c++ cmake ninja pkg-config; do
      command -v "$package" >/dev/null || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] ||
      fail "There is no ${missing[*]} here, and this script installs packages on Debian only." \
        "Install what $(system_name) calls these: $*"
    return
  fi
  for package in "$@"; do installed "$package" || missing+=("$package"); done
  [ ${#missing[@]} -gt 0 ] || return 0
  by_hand="As root: apt-get install --no-install-recommends ${missing[*]}"
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "Packages are missing, and only root may install them. $by_hand"
    say "Asking for root, to install packages"
    sudo true 2>/dev/null || fail "Packages are missing, and sudo did not give root. $by_hand"
    as_root=(sudo)
  fi
  say "Installing from Debian: ${missing[*]}"
  # An update that fails for one of the user's sources may still have found the packages. Without a network
  # apt-get would try again for each package.
  local retries=3
  "${as_root[@]}" env LC_ALL=C apt-get update -qq -o APT::Update::Error-Mode=any >"$log" 2>&1 || retries=0
  "${as_root[@]}" env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get install -y -q \
    --no-install-recommends -o Acquire::Retries=$retries -o DPkg::Lock::Timeout=300 \
    "${missing[@]}" >>"$log" 2>&1 ||
    fail "The packages could not be installed: $(grep -m 1 -E '^[EW]: Failed to fetch' "$log")" \
      "$(grep '^E:' "$log" | tail -n 1). This takes Debian 12 or 13 and its package mirror; here is" \
      "$(system_name). All of apt-get's output: $log"
}

# logged LOG COMMAND...: runs it with its output in the log; shows the progress of a build or test run and its
# failures. Returns the command's status.
logged() {
  local log=$logs/$1; shift
  "$@" 2>&1 | tee "$log" | show_progress
  return "${PIPESTATUS[0]}"
}

# Reads what ninja ("[5/300] ...") or ctest (" 5/300 Test ...") prints.
show_progress() {
  local line percent shown=0 failing='' clear=''
  [ ! -t 1 ] || clear=$'\r\033[K'  # wipes the counter
  while IFS= read -r line; do
    if [[ $line =~ ^\ *\[?([1-9][0-9]*)/([1-9][0-9]*)[]\ ] ]]; then
      failing=
      percent=$((100 * BASH_REMATCH[1] / BASH_REMATCH[2]))
      if [ -t 1 ]; then
        printf '\r    %s of %s ' "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}"
      elif [ $((percent / 20)) -gt "$shown" ]; then
        shown=$((percent / 20))
        printf '    %s of %s\n' "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}"
      fi
    fi
    case $line in
      FAILED:* | "ninja: "* | "CMake Error"* | *"***"* | *"tests passed, "* | *"tests failed out of"*) failing=yes ;;
      *"  Start "* | "") failing= ;;
    esac
    [ -z "$failing" ] || printf '%s%s\n' "$clear" "$line"
  done
  [ ! -t 1 ] || echo
}

# expect_room LOG: fails if the log shows that the disk is full.
expect_room() {
  ! grep -q 'No space left on device' "$1" || fail "The disk of $top or of /tmp is full: make room ($1)"
}

# configure PRESET [OPTION...]: configures if options are given, on the first run, if the presets changed
# and if the clone was moved. After a failure the next run starts afresh.
configure() {
  local folder=$top/build/$1
  if [ $# -eq 1 ] && [ "$folder/build.ninja" -nt "$top/CMakePresets.json" ] &&
    grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$top" "$folder/CMakeCache.txt"; then
    return
  fi
  cd "$top" || exit 1
  cmake --fresh --preset "$@" >"$logs/$1-configure.log" 2>&1 && return
  rm -f "$folder/build.ninja" "$folder/CMakeCache.txt"
  expect_room "$logs/$1-configure.log"
  fail "The $1 build could not be configured on $(system_name):" \
    "$(grep -A 12 -m 1 '^CMake Error' "$logs/$1-configure.log" | tr -s '[:space:]' ' ')" \
    "($logs/$1-configure.log)"
}

# lock_build: waits for another build in this clone; sets `lock` to a descriptor that keeps others waiting
# until it is closed.
lock_build() {
  exec {lock}>"$logs/lock"
  flock --nonblock "$lock" || { say "Waiting for another build in this clone"; flock "$lock"; }
}

# build PRESET [OPTION...]: configures if need be, then builds what changed; one at a time in this clone.
build() {
  local lock
  lock_build
  configure "$@"
  say "Building ($1)"
  cd "$top" || exit 1
  case $top in
    *\'*) say "In a path with an apostrophe, ninja builds everything at every run: another folder is quicker" ;;
  esac
  if ! logged "$1-build.log" cmake --build --preset "$1"; then
    expect_room "$logs/$1-build.log"
    fail "The $1 build failed: $logs/$1-build.log has all of its output"
  fi
  exec {lock}>&-
}
