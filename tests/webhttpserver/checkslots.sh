#!/usr/bin/env bash
# checkslots.sh COMPILER ROOT GENERATED EXPECTED: the virtual operations of the module's contract stand in the
# slots that separately built hosts and applications rely on.
set -euo pipefail

dump=$(mktemp -d)
trap 'rm -rf "$dump"' EXIT
cat > "$dump/slots.cpp" <<'SOURCE'
#include "inputonhttpstream.h"
#include "kivserverstream.h"
#include "memoryrequestprovider.h"
#include "memoryresponseprovider.h"
#include "zq/webhttpserver/kivhttpserver.h"
#include "zq/webhttpserverproxy/multipartstream.h"
SOURCE
(cd "$dump" && "$1" -std=c++20 -I"$2/inc" -I"$2/project/webhttpserver" -I"$2/project/memoryhost" -I"$3" -fdump-lang-class -c slots.cpp -o slots.o)

# Of every class asked for: its name, then its slots in order, without offsets and addresses of thunks.
slots() {
    awk -v class="Vtable for $1" '
        $0 == class { found = 1; print $3; next }
        found && /^$/ { exit }
        found && /^[0-9]+ .*::/ { sub(/^[0-9]+ +(\(int \(\*\)\(\.\.\.\)\))?/, ""); print "    " $0 }' "$dump"/slots.cpp.*.class
}

for class in MemoryRequestProvider MemoryResponseProvider kiv::KIVHttpServer kiv::KIVServerHttpStream \
    kiv::MultipartStream kiv::InputOnHttpStream MultipartReader 'Config<kiv::KIVHttpServer>' Exception; do
    slots "$class"
done > "$dump/slots.txt"
diff -u "$4" "$dump/slots.txt"
