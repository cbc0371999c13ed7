# Sourced: sets up two instances of the server with HAProxy and the shipped haproxy.cfg ($proxy_config) before them, on loopback,
# in a folder $stage that goes with the script. The caller sets $program and $application.

deploy=$(dirname "$(realpath "${BASH_SOURCE[0]}")")
stage=$(mktemp -d)
base=$((20000 + BASHPID % 1000 * 10)) # below the ports that the kernel gives to clients
export WEB_LISTEN=127.0.0.1:$base WEB_CERTIFICATE=$stage/web.pem
export WEB_A=127.0.0.1:$((base + 1)) WEB_B=127.0.0.1:$((base + 2))
export ADMIN_A=127.0.0.1:$((base + 3)) ADMIN_B=127.0.0.1:$((base + 4))
declare -A instance

cleanUp() {
    {
        kill -KILL "${instance[@]}" ${proxy:-} || true
        wait
    } 2>/dev/null
    rm -rf "$stage"
}
trap cleanUp EXIT

die() {
    echo "$*" >&2
    tail -n 20 "$stage"/*.log >&2
    exit 1
}

# until_succeeds WHAT COMMAND...: tries for ten seconds.
until_succeeds() {
    local what=$1 n
    shift
    for ((n = 0; n < 100; n++)); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.1
    done
    die "$what: not within ten seconds"
}

# start_instance NAME [LINE]: with that line in its [WebContainer] table; returns when it says that it is ready.
start_instance() {
    local web=WEB_$1 admin=ADMIN_$1
    sed -e "s|^Listen = \"127.0.0.1:8080\"|Listen = \"${!web}\"|" -e "s|127.0.0.1:9180|${!admin}|" \
        -e "s|^\\[WebContainer]|&\\n${2:-}|" -e "s|/var/log/webhttpserver/access.log|$stage/access_$1|" \
        "$deploy/webhttpserver.toml" >"$stage/$1.toml"
    "$program" --config "$stage/$1.toml" --app "$application" >>"$stage/$1.log" 2>&1 &
    instance[$1]=$!
    until_succeeds "instance $1" curl -fs "http://${!admin}/ready"
}

# stop_instance NAME: as the service manager does it; fails unless every request was answered.
stop_instance() {
    kill -TERM "${instance[$1]}"
    wait "${instance[$1]}" || die "instance $1 ended with $?"
    unset "instance[$1]"
}

start_proxy() {
    openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=localhost -addext subjectAltName=DNS:localhost \
        -keyout "$stage/key.pem" -out "$stage/certificate.pem" 2>/dev/null
    cat "$stage/certificate.pem" "$stage/key.pem" >"$WEB_CERTIFICATE"
    haproxy -W -db -f "$deploy/${proxy_config:-haproxy.cfg}" >>"$stage/haproxy.log" 2>&1 &
    proxy=$!
    until_succeeds "haproxy" ask /request
}

# ask TARGET [CURL-OPTION...]: through the proxy.
ask() {
    local target=$1
    shift
    curl -fsS --http2 --cacert "$stage/certificate.pem" --resolve "localhost:$base:127.0.0.1" "$@" \
        "https://localhost:$base$target"
}
