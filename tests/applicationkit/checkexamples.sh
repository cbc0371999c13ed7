#!/usr/bin/env bash
# checkexamples.sh ROOT: the first example of each header of the library, which is indented in the comment of its
# class, stands in examplestest.cpp, which is run.
set -euo pipefail
cd "$1"
tests=$(sed 's/^ *//' tests/applicationkit/examplestest.cpp)
status=0
for header in inc/zq/applicationkit/{cookies,escape,formdata,htmlwriter,jsonbody,router,sendfile,staticfiles,temporaryfolder,uploadedfile}.h; do
    example=$(awk '/^\/\/\/     .*[;{]$/ { inside = 1 } inside && !/^\/\/\/     / { exit }
                   inside { sub(/^\/\/\/ */, ""); print }' "$header")
    if [[ -z $example || $tests != *"$example"* ]]; then
        echo "examplestest.cpp does not run the example of $header"
        status=1
    fi
done
exit "$status"
