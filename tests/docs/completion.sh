#!/usr/bin/env bash
# usage: completion.sh FILE
# Asks the completion of dot1xctl as bash does, in a folder with the files "one.pcap" and "other".
set -euo pipefail

folder=$( mktemp -d )
trap 'rm -rf "$folder"' EXIT
source "$1"
cd "$folder"
touch one.pcap other
failed=0

# The words as readline splits them, the last of which is completed (_ if it is empty), and what is
# offered.
check() {
   local expected=$2
   read -r -a COMP_WORDS <<<"dot1xctl $1"
   COMP_CWORD=$(( ${#COMP_WORDS[@]} - 1 ))
   [[ ${COMP_WORDS[COMP_CWORD]} != _ ]] || COMP_WORDS[COMP_CWORD]=
   COMPREPLY=( "left over" )
   _dot1xctl || true
   local found="${COMPREPLY[*]-}"
   if [[ $found != "$expected" ]]; then
      echo "\"dot1xctl $1\" offers \"$found\" and not \"$expected\""
      failed=1
   fi
}

check "_" "replay serve show watch dump load diff config schema"
check "d" "dump diff"
check "nonsense" ""
check "config _" "check show username"
check "config s" "show"
check "--v" "--version"
check "show --js" "--json"
check "config show --" "--help --json --diff"
check "show su" "supplicants"
check "show --connect unix : /tmp/x p" "ports"            # the option's value is no positional
check "show --json supplicants _" ""                      # a MAC address
check "show ports --state _" ""                           # not the second positional
check "replay --show _" "all ports supplicants blocked sessions"
check "replay --show = bl" "blocked"
check "replay --show all o" "one.pcap other"
check "replay one.pcap other one" "one.pcap"              # any number of captures
check "config check one.pcap _" ""                        # but one configuration
check "replay --config _" "one.pcap other"
check "replay - ot" "other"                               # standard input is a file
check "watch --connect _" "unix: tcp:"
check "watch --connect unix :" "one.pcap other"
check "watch --connect unix : ot" "other"
check "watch --connect tcp :" ""
check "show --connect tcp : 4711 _" "all ports supplicants blocked sessions config tree"
check "schema AuthNSupp" "AuthNSupplicantStatus"
exit $failed
