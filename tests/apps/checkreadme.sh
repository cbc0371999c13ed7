#!/usr/bin/env bash
# checkreadme.sh README: each C++ block in it is the file that the last link before it names.
set -euo pipefail
cd "$(dirname "$1")"
awk '/^```cpp$/ { inside = 1; blocks++; text = ""; next }
     /^```$/ && inside {
         inside = 0; wanted = ""
         while ((getline line < file) > 0) wanted = wanted line "\n"
         close(file)
         if (text != wanted) { print "the block after the link to " file " is not that file"; bad = 1 }
     }
     inside { text = text $0 "\n"; next }
     match($0, /\]\([^)]*\.cpp\)/) { file = substr($0, RSTART + 2, RLENGTH - 3) }
     END { exit bad || blocks == 0 }' "$(basename "$1")"
