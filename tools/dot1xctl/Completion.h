#pragma once

#include <string_view>

namespace Dot1xCtl {

/// The fixed part of the bash completion, around the generated part of each command: its options,
/// how their values are completed, likewise its positionals, and its commands. A way to complete is
/// a list of words, or @file, @address or @none.
inline constexpr std::string_view completionHead = R"(# Completion of dot1xctl for bash; generated.

# Sets what can be said after the command $1 in the caller's variables; fails for no command.
_dot1xctl_command() {
   case "$1" in
)";

inline constexpr std::string_view completionTail = R"(      *) return 1 ;;
   esac
}

_dot1xctl() {
   local options commands further command= option= way=@none i word glue=
   local -A values
   local -a positionals words=()
   # Readline has split at ":" and "="; here a word is what the program gets.
   for (( i = 1; i <= COMP_CWORD; ++i )); do
      word=${COMP_WORDS[i]}
      if (( ${#words[@]} )) && [[ $word && $glue || $word == [:=]* ]]; then
         words[-1]+=$word
      else
         words+=( "$word" )
      fi
      [[ $word == [:=] ]] && glue=1 || glue=
   done

   local cur=${words[-1]} count=0
   _dot1xctl_command ''
   for word in "${words[@]:0:${#words[@]}-1}"; do
      if [[ $option ]]; then
         option=
      elif [[ $word == -* && $word != - ]]; then
         [[ ${values[$word]-} ]] && option=$word
      elif [[ " $commands " == *" $word "* ]]; then
         command+=${command:+ }$word
         _dot1xctl_command "$command"
      else
         (( ++count ))
      fi
   done
   if [[ ! $option && $cur == --*=* ]]; then
      option=${cur%%=*}
      cur=${cur#*=}
   fi

   COMPREPLY=()
   if [[ $option ]]; then
      way=${values[$option]-@none}
   elif [[ $cur == -* ]]; then
      way=$options
   elif [[ $commands ]]; then
      way=$commands
   elif (( count < ${#positionals[@]} )); then
      way=${positionals[count]}
   elif [[ $further ]]; then
      way=$further
   fi
   if [[ $way == @address && $cur == unix:* ]]; then
      way=@file
      cur=${cur#unix:}
   fi
   case $way in
      @none) ;;
      @file)
         compopt -o filenames 2>/dev/null
         mapfile -t COMPREPLY < <( compgen -f -- "$cur" )
         ;;
      @address)
         [[ $cur != *:* ]] || return 0
         compopt -o nospace 2>/dev/null
         mapfile -t COMPREPLY < <( compgen -W 'unix: tcp:' -- "$cur" )
         ;;
      *) mapfile -t COMPREPLY < <( compgen -W "$way" -- "$cur" ) ;;
   esac
}

complete -F _dot1xctl dot1xctl
)";

} // namespace Dot1xCtl
