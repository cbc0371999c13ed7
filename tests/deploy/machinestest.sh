#!/usr/bin/env bash
# machinestest.sh PROGRAM APPLICATION DEPLOY: the shipped haproxy-machines.cfg before two machines, which are two
# addresses of this one, while they come and go in the name service.
set -euo pipefail
program=$1 application=$2
source "$3/stage.bash"
# shellcheck disable=SC2034 # for the stage
proxy_config=haproxy-machines.cfg
export WEB_PORT=$((base + 1)) ADMIN_PORT=$((base + 3)) WEB_MACHINES=web.test WEB_DNS=127.0.0.1:$((base + 5))
export WEB_B=127.0.0.2:$WEB_PORT ADMIN_B=127.0.0.2:$ADMIN_PORT

# What both configurations say of clients is the same.
for config in haproxy.cfg haproxy-machines.cfg; do
    sed -n '/^global/,/default_backend/p' "$deploy/$config" >"$stage/$config"
done
diff "$stage/haproxy.cfg" "$stage/haproxy-machines.cfg" || die "the two configurations differ"

# machines ADDRESS...: what the name service says from now on.
machines() {
    printf '%s web.test\n' "$@" >"$stage/hosts"
    [[ -z ${names:-} ]] || kill -HUP "$names"
}
machines 127.0.0.1
chmod a+rx "$stage" && chmod a+r "$stage/hosts"
dnsmasq --keep-in-foreground --conf-file=/dev/null --no-resolv --no-hosts --addn-hosts="$stage/hosts" --bind-interfaces \
    --listen-address=127.0.0.1 --port="${WEB_DNS#*:}" --user=root --pid-file= >"$stage/names.log" 2>&1 &
names=$!
instance[names]=$names

start_instance A
start_instance B
start_proxy

# is_asked A|B: a request of many reaches it.
is_asked() {
    local n before after
    before=$(wc -l <"$stage/access_$1")
    for n in 1 2 3 4 5 6 7 8; do ask "/request?$n" || die "a request was lost"; done >/dev/null
    sleep 0.2 # the access log is written ten times a second
    after=$(wc -l <"$stage/access_$1")
    ((after > before))
}
is_asked A || die "the only machine is not asked"
if is_asked B; then die "a machine is asked that has no name"; fi
machines 127.0.0.1 127.0.0.2
until_succeeds "the machine that came" is_asked B
machines 127.0.0.2
isnt_asked() { ! is_asked "$1"; }
until_succeeds "the machine that went" isnt_asked A
stop_instance A
is_asked B || die "the machine that is left is not asked"
stop_instance B
