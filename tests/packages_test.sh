#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Tries the Debian packages of a folder on a machine that is thrown away afterwards; run as root there:
#   tests/packages_test.sh FOLDER
#
# Installs the version before, runs the programs as an ordinary user, installs the packages over the running
# programs, removes and purges them. The version before is made from the same packages, with the number of the
# release before.
# Exit status: 0 when all went well.
set -u

packages=(vx310-control-panel vx310-driver vx310ctl)
say() { printf '%s\n' "$*"; }
fail() { say "packages: $*" >&2; exit 1; }
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8

# The session of an ordinary user: a bus that starts services, PipeWire, a display. Ends with the machine.
home=/home/listener
session="export XDG_RUNTIME_DIR=$home/runtime XDG_CACHE_HOME=/tmp/cache LC_ALL=C.UTF-8
  DBUS_SESSION_BUS_ADDRESS=unix:path=$home/runtime/bus DISPLAY=:7 QT_QPA_PLATFORM=xcb; export DISPLAY \
  DBUS_SESSION_BUS_ADDRESS QT_QPA_PLATFORM;"
as_user() { su - listener -c "$session $1"; }

start_session() {
  as_user "mkdir -m 700 \$XDG_RUNTIME_DIR && dbus-daemon --session --address=\$DBUS_SESSION_BUS_ADDRESS --fork" &&
    { as_user "exec pipewire 2>/dev/null" & } &&
    read -r -t 20 _ < <(as_user "exec Xvfb :7 -displayfd 1 -screen 0 1024x768x24 -nolisten tcp 2>/dev/null") ||
    fail "no session could be started"
}

# process_of PROGRAM: the number of the process that runs the installed program.
process_of() {
  local process
  for process in /proc/[0-9]*; do
    [[ $(readlink "$process/exe") != /usr/bin/$1?( \(deleted\)) ]] || { say "${process#/proc/}"; return; }
  done
  return 1
}

# The last value that the panel reads when an interface has come.
filled_in='^getRouting RoutingIn2 returns'

# until_panel_fills_in LINES: waits until the panel has printed that after so many lines.
until_panel_fills_in() {
  timeout 30 grep -q -m 1 "$filled_in" <(exec tail -n +$(($1 + 1)) -f $home/panel.log) ||
    fail "the panel did not fill in: $(tail -n 3 $home/panel.log)"
}

start_panel() {
  as_user ": >panel.log; exec vx310-panel >>panel.log 2>&1" &
  timeout 30 tail -f --retry $home/panel.log 2>/dev/null | grep -q -m 1 . || fail "the panel printed nothing"
  until_panel_fills_in 0
}

expect_shown() {
  local shown word
  shown=$(as_user "vx310ctl show" 2>&1)
  for word in "VX-310" "USB 2.0" "48 kHz" "24 bits" "internal"; do
    grep -qF -- "$word" <<<"$shown" || fail "vx310ctl show does not say \"$word\": $shown"
  done
}

# end PROCESS: ends it and waits until it runs no program any more; nobody may be there to reap it.
end() {
  local limit=$((SECONDS + 30))
  kill "$1" || fail "process $1 has ended"
  while [ -e "/proc/$1/exe" ]; do
    [ "$SECONDS" -lt $limit ] || fail "process $1 does not end"
    sleep 0.1
  done
}

# Everything on the machine but what programs make anew whenever they like.
files() {
  find / -xdev \( -path /proc -o -path /tmp -o -path /var/tmp -o -path /var/cache -o -path /var/log -o -path /dev \
    -o -path "$home" \) -prune -o -print | sort
}

say "Installing what the packages need"
folder=$(realpath "$1") && cd "$folder" || exit 1
new=(); for package in "${packages[@]}"; do new+=("$package"_[0-9]*.deb); done
needed=$(for file in "${new[@]}"; do dpkg-deb -f "$file" Depends; done | paste -sd ,)
{ apt-get -qq update && apt-get -qq satisfy --no-install-recommends "$needed" &&
  apt-get -qq install --no-install-recommends pipewire dbus-daemon xvfb; } >/tmp/apt.log 2>&1 ||
  fail "apt-get failed: $(tail -n 2 /tmp/apt.log)"
useradd --create-home --shell /bin/bash listener && start_session
files >/tmp/before

# Debian's changelog in each package has the numbers, the newest first.
{ read -r version && read -r version_before; } < <(dpkg-deb --fsys-tarfile "${new[0]}" |
  tar -xO --wildcards './usr/share/doc/*/changelog*' | zcat | sed -n 's/^[a-z].* (\(.*\)) .*/\1/p') &&
  dpkg --compare-versions "$version_before" lt "$version" || fail "the packages' changelog has no release before"
say "Installing the version before, $version_before"
old=()
for file in "${new[@]}"; do
  [ "$(dpkg-deb -f "$file" Version)" = "$version" ] || fail "$file is not of version $version"
  dpkg-deb -R "$file" /tmp/unpacked && sed -i "s/^Version: .*/Version: $version_before/" /tmp/unpacked/DEBIAN/control &&
    dpkg-deb --root-owner-group -Znone -b /tmp/unpacked "/tmp/before-$file" >/dev/null && rm -r /tmp/unpacked ||
    fail "the version before could not be made"
  old+=("/tmp/before-$file")
done
dpkg -i "${old[@]}" >/tmp/dpkg.log 2>&1 || fail "the version before was not installed: $(cat /tmp/dpkg.log)"
expect_version() {
  [ "$(dpkg-query -W -f '${Version}\n' "${packages[@]}" | uniq)" = "$1" ] || fail "version $1 is not installed"
}
expect_version "$version_before"

say "Running the programs"
! process_of vx310-driver || fail "the driver runs before anybody asked for it"
as_user "vx310ctl show" 2>/dev/null
[ $? -eq 4 ] || fail "vx310ctl show did not find a driver without an interface"
driver=$(process_of vx310-driver) || fail "the bus did not start the driver"
as_user "vx310ctl sim plug" || fail "the virtual interface could not be plugged in"
start_panel
panel=$(process_of vx310-panel) || fail "the panel does not run"
expect_shown
as_user "vx310ctl set clock-source internal" || fail "vx310ctl could not set the clock source"
as_user "vx310-check-driver" >/tmp/check.log || fail "the driver does not hold: $(grep WRONG /tmp/check.log)"
as_user "vx310ctl --complete set line-" | grep -q '^line-output$' || fail "vx310ctl does not complete its words"

say "Installing version $version over the running programs"
lines=$(wc -l <$home/panel.log)
dpkg -i "${new[@]}" >/tmp/dpkg.log 2>&1 || fail "the upgrade failed: $(cat /tmp/dpkg.log)"
expect_version "$version"
for process in "$panel" "$driver"; do
  [[ $(readlink "/proc/$process/exe") == *" (deleted)" ]] || fail "a program did not go on running its old version"
done
as_user "vx310ctl sim unplug && vx310ctl sim plug" || fail "the old driver does not answer the new vx310ctl"
until_panel_fills_in "$lines"

say "Running the programs of the new version"
end "$panel"
end "$driver"
as_user "vx310ctl list && vx310ctl sim plug" || fail "the bus did not start the new driver"
start_panel
expect_shown

say "Removing and purging the packages"
end "$(process_of vx310-panel)"
end "$(process_of vx310-driver)"
dpkg -r "${packages[@]}" >/tmp/dpkg.log 2>&1 || fail "they could not be removed: $(cat /tmp/dpkg.log)"
! as_user "vx310ctl list" 2>/dev/null || fail "vx310ctl is still there"
dpkg -P "${packages[@]}" >/tmp/dpkg.log 2>&1 || fail "they could not be purged: $(cat /tmp/dpkg.log)"
left=$(files | comm -13 /tmp/before -)
[ -z "$left" ] || fail "these are left: $left"
[ -s $home/.config/vantrel/preferences/com.vantrel.vx310.hal.plist ] || fail "the user's settings are gone"
left=$(find $home -newer /tmp/before -type f ! -path "$home/.config/vantrel/*" \
  ! -path "$home/.local/state/vantrel/panel-window" ! -name panel.log)
[ -z "$left" ] || fail "these are left in the user's home: $left"
