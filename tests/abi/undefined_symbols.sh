#!/usr/bin/env bash
# Fails where a library needs a symbol from anywhere but libc, libstdc++, libgcc and the given contract.
# Usage: undefined_symbols.sh LIBRARY [CONTRACT]      CONTRACT: a file of demangled names, one a line
set -euo pipefail

library=$1
contract=''
[ $# -lt 2 ] || contract=$(grep -v '^#' "$2")

symbols=$(nm -D --undefined-only "$library")
[ -n "$symbols" ] || { echo "$library: nm shows no undefined symbol at all; this check cannot work" >&2; exit 1; }

# Spelled as people write it; it has two mangled names, and which one depends on the compiler's settings.
string='std::(__cxx11::)?basic_string<char, std::char_traits<char>, std::allocator<char> >'

failed=0
while read -r kind symbol; do
  case $kind:$symbol in
    *@GLIBC_* | *@GLIBCXX_* | *@CXXABI_* | *@GCC_*) continue ;;
    # Hooks of the tool chain, null where nobody fills them.
    w:_ITM_deregisterTMCloneTable | w:_ITM_registerTMCloneTable | w:__gmon_start__ | w:__cxa_finalize) continue ;;
  esac
  name=$(c++filt -- "${symbol%@VQ*_0}" | sed -E "s/\[abi:cxx11\]//; s/$string/std::string/g")
  grep -qxF -e "$name" <<<"$contract" || { echo "$library needs '$name' ($kind)" >&2; failed=1; }
done <<<"$symbols"
exit "$failed"
