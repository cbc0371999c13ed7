#!/usr/bin/env bash
# checkexports.sh LIBRARY EXPECTED: the library's dynamic symbols are those of the list, and it needs only the
# host's libraries and those of the language and C.
set -euo pipefail

diff -u "$2" <(nm -DC --defined-only "$1" | cut -d' ' -f3- | LC_ALL=C sort -u)
needed=$(readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
if unwanted=$(grep -vE '^(libzq(foundation|services|httpstream|httpextension)|libstdc\+\+|libgcc_s|libc|libm|lib(a|t|ub)san)\.so' <<<"$needed"); then
    echo "the module must not need: $unwanted"
    exit 1
fi
