#!/usr/bin/env bash
# usage: persist.sh PERSIST
# Each run of the example is a process of its own: it must find what those before it have left, and
# leave alone a file that it cannot read.
set -euo pipefail

folder=$( mktemp -d )
trap 'rm -rf "$folder"' EXIT
state=$folder/state
expect() {
   if [[ $1 != "$2" ]]; then
      echo "found \"$1\", expected \"$2\"" >&2
      exit 1
   fi
}

expect "$( "$1" "$state" 00:00:5e:00:53:01 alice )" ""
expect "$( "$1" "$state" 00:00:5e:00:53:01 bob )" "00:00:5e:00:53:01 alice"
expect "$( "$1" "$state" 00:00:5e:00:53:02 carol )" "00:00:5e:00:53:01 bob"
both=$( "$1" "$state" 00:00:5e:00:53:02 carol | sort )
expect "$both" $'00:00:5e:00:53:01 bob\n00:00:5e:00:53:02 carol'

truncate --size=-1 "$state"
cp "$state" "$folder/cut"
code=0
told=$( "$1" "$state" 00:00:5e:00:53:03 dave 2>&1 ) || code=$?
expect "$code ${told%%:*}" "1 $state"
cmp "$state" "$folder/cut"
