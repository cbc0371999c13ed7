#!/usr/bin/env bash
# installtest.sh BUILD SOURCES COMPILER: installs BUILD in a folder of its own, and uses what is there and nothing else.
set -euo pipefail
build=$1 sources=$2 compiler=$3 tests=$(dirname "$(realpath "$0")")
stage=$build/installtest
root=$stage/root server=
trap '[[ ! $server ]] || kill "$server"' EXIT
rm -rf "$stage" && mkdir -p "$stage"

die() {
    echo "$*" >&2
    tail -n 20 "$stage"/*.log >&2
    exit 1
}

# greets LIBRARY: the installed program serves this one, with nothing to complain of.
greets() {
    local greeting url
    mkfifo "$stage/output"
    "$root/bin/webcontainer" --config "$stage/config.toml" --app "$1" >"$stage/output" 2>"$stage/server.log" &
    server=$!
    read -r _ _ url <"$stage/output" || die "$1 is not served"
    rm "$stage/output"
    greeting=$(curl -fsS "$url?name=W%C3%B6rld")
    kill "$server" && wait "$server" && server=
    [[ $greeting == "Good morning, Wörld 🌍" ]] || die "$1 says $greeting"
    ! grep -E '"(warning|error)"|message file' "$stage/server.log" || die "the server complains"
}

cmake --install "$build" --prefix "$root" >"$stage/install.log" || die "it cannot be installed"
mv "$root" "$stage/moved" && root=$stage/moved # nor may it know where it was installed

# Nothing of this machine's is in it, and every header is whole.
if grep -rlF -e "$sources" -e "$build" "$root"; then die "the files above know where they were built"; fi
if readelf -d "$root"/bin/* "$root"/lib/*.so "$root"/lib/*/*.so | grep -E 'R(UN)?PATH' | grep -v '\[[$]ORIGIN[^:]*]'; then
    die "libraries are sought in folders of one machine"
fi
cd "$root/include"
find . -name '*.h' -printf '%P\n' >"$stage/headers"
xargs -P2 -I{} "$compiler" -x c++ -std=c++20 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I. -include {} /dev/null \
    <"$stage/headers" >"$stage/headers.log" 2>&1 || die "a header is not whole"
grep -qx zq/httpextension/httpapplication.h "$stage/headers" || die "no headers"
"$tests/../documents/linkstest.sh" "$root/share/doc/webhttpserver" >"$stage/links.log" 2>&1 || die "links lead nowhere"
if grep -E '/(libloaded|autobuffer)\.h' "$stage/headers"; then die "nobody else needs the headers above"; fi

# An application and a host are made of it in both ways.
cp -r "$tests/consumer" "$root/share/doc/webhttpserver/docs/examples" "$sources/apps/hello/hello.cpp" "$stage"
mv "$stage/hello.cpp" "$stage/examples" "$stage/consumer"
printf '%s\n' '[WebContainer]' 'Listen = "127.0.0.1:0"' '[Admin]' 'Listen = ""' >"$stage/config.toml"
configure=(cmake "-DCMAKE_CXX_COMPILER=$compiler" "-DCMAKE_PREFIX_PATH=$root")
"${configure[@]}" -S "$stage/consumer" -B "$stage/made" >"$stage/made.log" 2>&1 || die "CMake does not find it"
cmake --build "$stage/made" -j2 >>"$stage/made.log" 2>&1 || die "nothing can be made with it"
"$stage/made/consolehost" '/?name=W%C3%B6rld' | grep -qx 'Good morning, Wörld 🌍' || die "the host does not serve"
(cd "$stage" && "$root/bin/webcontainer" new shop >shop.log)
{ cmake "-DCMAKE_CXX_COMPILER=$compiler" "-DCMAKE_PREFIX_PATH=$root" -S "$stage/shop" -B "$stage/shop/build" &&
    cmake --build "$stage/shop/build" && ctest --test-dir "$stage/shop/build"; } >"$stage/shop.log" 2>&1 ||
    die "a new application does not work"
greets "$stage/shop/build/libshop.so"
export PKG_CONFIG_PATH=$root/lib/pkgconfig
read -ra flags < <(pkg-config --cflags --libs webhttpserver-application)
"$compiler" -std=c++20 -shared -fPIC -Wl,--no-undefined -o "$stage/libplain.so" "$stage/consumer/hello.cpp" \
    "${flags[@]}" || die "pkg-config does not tell how to make an application"
greets "$stage/libplain.so"
greets "$root/lib/webhttpserver/libhello.so"
read -ra flags < <(pkg-config --cflags --libs webhttpserver-host)
"$compiler" -std=c++20 -o "$stage/plainhost" "$stage/consumer/examples/consolehost.cpp" "$stage/libplain.so" \
    "${flags[@]}" || die "pkg-config does not tell how to make a host"

# Who asks for more is told. All of it can be part of another project.
"${configure[@]}" -DCOMPONENTS=client -S "$stage/consumer" -B "$stage/refused" >"$stage/refused.log" 2>&1 &&
    die "a component that is not there was found"
grep -q 'no component client' "$stage/refused.log" || die "nobody says which component is not there"
"${configure[@]}" "-DSOURCES=$sources" -S "$tests/within" -B "$stage/within" >"$stage/within.log" 2>&1 ||
    die "it cannot be part of another project"

# The manual has every option and setting, and reads well.
options=$({ "$root/bin/webcontainer" --help && "$root/bin/webreplay" --help; } | grep -oE '^ +(-.,)?--[a-z-]+' | grep -oE -- '--[a-z-]+')
man --warnings -l "$root"/share/man/man?/*.gz 2>"$stage/man.log" >/dev/null
[[ ! -s $stage/man.log ]] || die "the manual has mistakes"
MANWIDTH=1000 man -l "$root"/share/man/man1/*.gz >"$stage/manual"
for option in $options; do
    grep -qE "^ +(-., )?$option" "$stage/manual" || die "the manual lacks $option"
done
MANWIDTH=1000 man -l "$root"/share/man/man5/*.gz | grep -A2 MaxHeadBytes | grep -q '16384 bytes; 1024 to 1048576\.' ||
    die "the manual lacks a setting"
