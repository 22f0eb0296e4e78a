# SPDX-License-Identifier: MIT
# Gives docs/driver-protocol.md the name that a manual page starts with.
s/^# Driver protocol$/# NAME\
\
vx310-driver-protocol - protocol between VX-310 drivers and their clients\
\
# DESCRIPTION/
# A manual page has no places to jump to.
s/\[\([^]]*\)\](#[^)]*)/\1/g
