#!/usr/bin/env bash
# usage: follow.sh LEADER FOLLOWER
# Runs the example of a leader with two followers: one that is there before anything changes, and
# one that comes late. Each must print just what is published, and the first also how it ended.
set -euo pipefail

folder=$( mktemp -d )
started=()
cleanup() {
   kill "${started[@]}" 2>/dev/null || true
   rm -rf "$folder"
}
trap cleanup EXIT

soon() {
   local i
   for (( i = 0; i < 1000; ++i )); do
      "$@" && return
      sleep 0.02
   done
   echo "never came about: $*" >&2
   exit 1
}
prints() { [[ $( tail -n 1 "$1" ) == "$2" ]]; }
compare() {
   if ! diff -u "$1" -; then
      echo "$1 is not what it should be" >&2
      exit 1
   fi
}

mkfifo "$folder/changes"
"$1" "$folder/socket" <"$folder/changes" 2>"$folder/leader.err" &
leader=$!
started+=( "$leader" )
exec 3>"$folder/changes"
soon test -S "$folder/socket"

"$2" "$folder/socket" >"$folder/early" 2>"$folder/early.err" 3>&- &
early=$!
started+=( "$early" )
soon prints "$folder/early" "in step"
printf '%s\n' "00:00:5e:00:53:01 alice" "0000.5e00.5301 alice" "no address" \
   "00:00:5e:00:53:01 bob" >&3
soon prints "$folder/early" "Dot1xV2::AuthNSupplicantStatus identity: bob"

"$2" "$folder/socket" >"$folder/late" 2>/dev/null 3>&- &
started+=( $! )
soon prints "$folder/late" "in step"

exec 3>&-
wait "$leader"
code=0
wait "$early" || code=$?
if (( code != 1 )); then
   echo "the follower ended with $code" >&2
   exit 1
fi

compare "$folder/early" <<'END'
in step
Dot1xV2::AuthNStatus supplicant[00:00:5e:00:53:01]
Dot1xV2::AuthNSupplicantStatus identity: alice
Dot1xV2::AuthNSupplicantStatus identity: bob
END
compare "$folder/late" <<'END'
Dot1xV2::AuthNStatus supplicant[00:00:5e:00:53:01]
Dot1xV2::AuthNSupplicantStatus identity: bob
in step
END
compare "$folder/early.err" <<<"closed by the other side"
grep -q 'expected a MAC address .* but found "no"' "$folder/leader.err"
