# SPDX-License-Identifier: MIT
# Tells man to format the page's tables, and leaves the lines in their narrow columns ragged.
1i\
'\\" t
s/T{$/&\
.ad l/
