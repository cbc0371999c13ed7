#!/usr/bin/env bash
# eventhosttest.sh PROGRAM: the host of docs/writing-a-host.md serves the sample application to real clients.
set -euo pipefail
stage=$(mktemp -d)
export SAMPLE_FILES=$stage/files LC_ALL=C.UTF-8
mkdir "$SAMPLE_FILES"
coproc host { exec "$1" 0 2>"$stage/log"; }
# shellcheck disable=SC2154 # coproc sets it
pid=$host_PID
trap 'kill "$pid" 2>/dev/null || true; rm -rf "$stage"' EXIT
read -r _ _ url <&"${host[0]}"

die() {
    echo "$*" >&2
    tail -n 20 "$stage/log" >&2
    exit 1
}
# answers STATUS ARGUMENTS...: of curl, whose output is in $stage/body.
answers() {
    local status wanted=$1
    shift
    status=$(curl -sS -m 30 -o "$stage/body" -w '%{http_code}' "$@" 2>"$stage/curl") || true
    [[ $status == "$wanted" ]] || die "$status and not $wanted: $* $(cat "$stage/curl")"
}

# A page, its head, and what a client must not ask for.
answers 200 "${url}text"
length=$(stat -c %s "$stage/body")
curl -sSI -m 10 "${url}text" "${url}text" | tr -d '\r' >"$stage/head" # on one connection
[[ $(grep -cx "Content-Length: $length" "$stage/head") == 2 ]] || die "HEAD does not know the length $length, or ends late"
grep -qx 'Content-Type: text/html; charset=utf-8' "$stage/head" || die "the type is another"
curl -sS "${url}request?a=%C3%B6" -H 'X-Some-Thing: one' -H 'X-Some-Thing: two' >"$stage/body"
for text in '>Host<' REMOTE_ADDR 127.0.0.1 X-Some-Thing 'a=%C3%B6'; do
    grep -qF "$text" "$stage/body" || die "the request has no $text"
done
if grep -q CONTENT_LENGTH "$stage/body"; then die "a request without a body has a length"; fi
answers 400 "${url}.hidden"
answers 501 -X DELETE "$url"

# Bodies: a form, a file in chunks, what is too long for the module and for the host.
answers 200 -d 'name=W%C3%B6rld' "${url}form"
grep -q Wörld "$stage/body" || die "the form is lost"
head -c 20000000 /dev/urandom >"$stage/large"
answers 302 -D "$stage/head" -F "file=@$stage/large;filename=large" "${url}files"
if grep -qi '^content-type' "$stage/head"; then die "a type that nobody has set"; fi
answers 302 -H 'Transfer-Encoding: chunked' -F "file=@$stage/large;filename=chunked" "${url}files"
[[ $(find "$SAMPLE_FILES" -type f -size 20000000c | wc -l) == 2 ]] || die "the uploads are not whole"
answers 413 --data-binary "@$stage/large" -H 'Content-Type: application/x-www-form-urlencoded' "${url}form"
cat "$stage"/large{,,,} >"$stage/larger"
answers 413 -H Expect: -F "file=@$stage/larger" "${url}files"

# A long response passes through in little memory, also beside a client that does not read.
exec {idle}<>"/dev/tcp/127.0.0.1/$(tr -dc 0-9 <<<"${url##*:}")"
printf 'GET /export?gib=1 HTTP/1.1\r\nHost: localhost\r\n\r\n' >&"$idle"
bytes=$(curl -sS "${url}export?gib=1" | wc -c)
((bytes == 1073741824)) || die "only $bytes bytes of the export came"
peak=$(sed -n 's/^VmHWM:[^0-9]*\([0-9]*\).*/\1/p' "/proc/$pid/status")
((peak < 400000)) || die "$peak KiB were needed"

# Many at once, and an end that answers first.
seq 40 | xargs -P 40 -I{} curl -sS -o /dev/null "${url}text" || die "not all are answered"
curl -sS -m 30 -N "${url}slow" >"$stage/slow" &
slow=$!
until [[ -s $stage/slow ]]; do sleep 0.05; done
exec {idle}>&-
kill "$pid"
wait "$slow" || die "a request in flight is lost"
grep -q '</html>' "$stage/slow" || die "the slow response is not whole"
wait "$pid" || die "it does not end well"
