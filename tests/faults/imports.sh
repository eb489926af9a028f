#!/usr/bin/env bash
# Fails where a library imports a function that neither the fault tests' list of calls nor the list of harmless ones
# has, where it asks for the wall clock, and where the list of calls names one that no library imports.
# Usage: imports.sh FAULT_TESTS IMPORTS LIBRARY...      IMPORTS: imports.txt
set -euo pipefail

calls=$("$1" --role=list_calls | cut -f2 | sort -u)
harmless=$(sed -nE 's/^(memory|certain|passive|toolchain) //p' "$2")
harmless_cpp=$(sed -n 's/^c++ //p' "$2" | paste -sd'|')
shift 2
[[ -n $calls && -n $harmless && -n $harmless_cpp ]] || { echo "a list is empty" >&2; exit 1; }

# A clock that somebody may set, or a wait by one.
wall='^(time|ftime|clock|gettimeofday|timespec_get|localtime(_r)?|gmtime(_r)?|mktime|strftime|nanosleep|usleep|sleep'
wall+='|alarm|setitimer|pthread_(cond|mutex|rwlock)_timed(wait|lock|rdlock|wrlock)|sem_timedwait|mq_timed(send|receive)'
wall+='|std::chrono::_V2::system_clock::now.*)$'

failed=0
complain() { echo "$1" >&2; failed=1; }

imported=''
for library in "$@"; do
  symbols=$(nm -D --undefined-only "$library" | awk '$2 ~ /@(GLIBC|GLIBCXX|CXXABI|GCC)_/ { print $2 }')
  [ -n "$symbols" ] || { echo "$library: nm shows no import at all; this check cannot work" >&2; exit 1; }
  while IFS='@' read -r symbol version; do
    name=$(c++filt -- "$symbol")
    name=${name//\[abi:cxx11\]/}
    imported+=$name$'\n'
    [[ ! $name =~ $wall ]] || complain "$library asks for the wall clock: $name"
    case $version in
      *GLIBC_*)
        grep -qxF -e "$name" <<<"$calls" || grep -qxF -e "$name" <<<"$harmless" ||
          complain "$library calls $name: list it in calls.cpp with the errors to try, or in imports.txt" ;;
      *)
        [[ $name =~ ^($harmless_cpp) ]] || complain "$library uses $name: list it in imports.txt" ;;
    esac
  done <<<"$symbols"
done

while read -r call; do
  grep -qF -e "$call" <<<"$imported" || complain "no library calls $call: calls.cpp may forget it"
done <<<"$calls"
exit "$failed"
