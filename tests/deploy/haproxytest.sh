#!/usr/bin/env bash
# haproxytest.sh PROGRAM APPLICATION DEPLOY: the shipped haproxy.cfg and webhttpserver.toml before the sample.
set -euo pipefail
program=$1 application=$2
source "$3/stage.bash"

start_instance A
start_instance B
start_proxy

# expect TEXT TARGET [CURL-OPTION...]: the page holds the text.
expect() {
    local text=$1
    shift
    ask "$@" >"$stage/page" || die "$* failed"
    grep -qF "$text" "$stage/page" || die "$*: no $text in $(cat "$stage/page")"
}
row() { echo "<tr><th scope=\"row\">$1</th><td>$2</td></tr>"; }

[[ $(ask /request -o /dev/null -w '%{http_version}') == 2 ]] || die "no HTTP/2"
lies=(-H 'X-Forwarded-For: 6.6.6.6' -H 'Forwarded: for=6.6.6.6;proto=http' -H 'X-Forwarded-Proto: http'
    -H 'X-Forwarded-Host: evil')
for honest in yes no; do
    [[ $honest == no ]] && set -- "${lies[@]}" || set --
    expect "$(row REMOTE_ADDR 127.0.0.1)" /request "$@"
    expect "$(row HTTPS on)" /request "$@"
    expect "$(row SERVER_NAME localhost)" /request "$@"
    expect "$(row SERVER_PORT "$base")" /request "$@"
done

# A proxy that only passes bytes on says who connected in the PROXY protocol, of either version.
export WEB_P=127.0.0.1:$((base + 5)) ADMIN_P=127.0.0.1:$((base + 6))
start_instance P 'ProxyProtocol = "any"'
words=(send-proxy send-proxy-v2)
printf '%s\n' defaults 'mode tcp' 'timeout connect 5s' 'timeout client 9s' 'timeout server 9s' >"$stage/tcp.cfg"
for n in 0 1; do
    printf '%s\n' "listen web$n" "bind 127.0.0.1:$((base + 7 + n))" "server p $WEB_P ${words[n]}" >>"$stage/tcp.cfg"
done
haproxy -db -f "$stage/tcp.cfg" >>"$stage/haproxy.log" 2>&1 &
proxy+=" $!"
for n in 0 1; do
    until_succeeds "${words[n]}" curl -fsS --interface 127.0.0.3 -o "$stage/page" "http://127.0.0.1:$((base + 7 + n))/request"
    grep -qF "$(row REMOTE_ADDR 127.0.0.3)" "$stage/page" || die "${words[n]}: $(cat "$stage/page")"
done
! curl -fsS "http://$WEB_P/request" 2>/dev/null || die "served without a header"

# An instance that dies without a word is not noticed for a while; no request is lost all the same.
kill -KILL "${instance[A]}"
wait "${instance[A]}" 2>/dev/null || unset "instance[A]"
for n in 1 2 3 4 5 6; do
    expect HTTPS "/request?$n"
done
stop_instance B
