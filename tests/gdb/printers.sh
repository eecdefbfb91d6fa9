#!/usr/bin/env bash
# What gdb prints of a program's containers. Nothing here makes gdb call a function of the program,
# which needs more of ptrace(2) than some virtual machines give.
#
#   printers.sh GDB SCRIPT PROGRAM
set -euo pipefail
printed=$( "$1" -nx -batch -iex "set auto-load off" -iex "set debuginfod enabled off" \
   -ex "source $2" -ex "break lookHere" -ex run -ex up \
   -ex "print numbers" -ex "print empty" -ex "print none" -ex "print status" -ex "print session" \
   -ex "print (*status.object_).acctSessionState_" "$3" 2>&1 ) || true
if grep -q "ptrace: Operation not permitted" <<<"$printed"; then
   exit 77 # skipped: programs cannot be debugged here
fi
bad=0
expect() {
   if ! grep -q -E -- "$1" <<<"$printed"; then
      echo "not printed: $1" >&2
      bad=1
   fi
}
expect '^\$1 = 2 elements = \{(41, 42|42, 41)\}$'
expect '^\$2 = 0 elements$'
expect '^\$3 = null$'
expect '^\$4 = \(Dot1xV2::AcctStatus \*\) 0x[0-9a-f]+, [0-9]+ references = '
expect '^\$5 = \(Dot1xV2::AcctSessionState \*\) 0x[0-9a-f]+, [0-9]+ references = '
expect '<Varek::Publisher> = 2 observers'
expect '<Varek::Publisher> = 1 observer, watched from above'
expect '^\$6 = 20 elements = \{'
(( !bad )) || { echo "$printed" >&2; exit 1; }
