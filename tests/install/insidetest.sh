#!/usr/bin/env bash
# insidetest.sh: in a clean system, installs the packages that lie beside it, serves, upgrades, develops and purges.
# There is no service manager: what the unit says is done here.
set -euo pipefail
cd "$(dirname "$0")"
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
unit=/usr/lib/systemd/system/webhttpserver.service
config=/etc/webhttpserver/webhttpserver.toml
trap 'jobs -p | xargs -r kill' EXIT

die() {
    echo "$*" >&2
    cat ./*.log >&2
    exit 1
}

install() {
    apt-get install -qqy --no-install-recommends -o Dpkg::Options::=--force-confdef \
        -o Dpkg::Options::=--force-confold "$@" >install.log 2>&1 || die "$* cannot be installed"
}

# says GREETING: what the service answers, when it is started as its unit says, where nobody else listens.
says() {
    local user folder
    user=$(sed -n 's/^User=//p' "$unit")
    for folder in lib:StateDirectory log:LogsDirectory run:RuntimeDirectory; do
        folder=/${folder%:*}/$(sed -n "s/^${folder#*:}=//p" "$unit")
        case $folder in /run/*) ;; *) folder=/var$folder ;; esac
        mkdir -p "$folder" && chown "$user:" "$folder"
    done
    # shellcheck disable=SC2016 # the inner shell's
    unshare --net bash -c '
        ip link set lo up
        set -a && source "$(sed -n s/^EnvironmentFile=//p "$1")" && set +a
        as_user="setpriv --reuid=$2 --regid=$2 --clear-groups --no-new-privs"
        eval "$as_user $(sed -n s/^ExecStartPre=//p "$1")" || exit
        eval "exec $as_user $(sed -n s/^ExecStart=//p "$1")" &
        curl -fsS --retry 50 --retry-connrefused --retry-delay 1 "127.0.0.1:8080/?name=World"
        answered=$?
        kill $! && wait $! && exit "$answered"' serve "$unit" "$user" >answer 2>serve.log || die "it does not serve"
    grep -qx "$1" answer || die "it says $(cat answer)"
}

install ./webhttpserver_*.deb
[[ $(getent passwd webhttpserver) == *:/usr/sbin/nologin ]] || die "there is no user for it"
[[ -L /etc/systemd/system/multi-user.target.wants/webhttpserver.service ]] || die "it is not started with the machine"
[[ ! -e /usr/include/zq ]] || die "headers are where nobody develops"
says 'Good morning, World 🌍'
grep -q 'GET /?name=World' /var/log/webhttpserver/access.log || die "nothing was logged"

# What was changed stays in an upgrade; what was not is new.
sed -i 's/^DrainDelayMilliseconds = .*/DrainDelayMilliseconds = 5/' "$config"
install ./next.deb
grep -q '^DrainDelayMilliseconds = 5$' "$config" || die "the configuration is lost"
grep -q 'next release' /etc/webhttpserver/webhttpserver.env || die "the environment is not new"
says 'Good morning, World 🌍'
install --allow-downgrades ./webhttpserver_*.deb ./webhttpserver-dev_*.deb

# An application of one's own takes the place of the greeting within a minute.
SECONDS=0
webcontainer new shop >made.log
{ cmake -S shop -B shop/build && cmake --build shop/build && unshare --net bash -c '
    ip link set lo up && ctest --test-dir shop/build'; } >made.log 2>&1 || die "a new application does not work"
sed -i 's/Good morning/Good evening/' shop/shop.cpp
cmake --build shop/build >made.log 2>&1 || die "a new application cannot be changed"
cp shop/build/libshop.so /usr/lib/webhttpserver
sed -i 's/libhello/libshop/' /etc/webhttpserver/webhttpserver.env
printf '\n[Recording]\nFolder = "/var/lib/webhttpserver"\nWhich = "all"\n' >>"$config"
says 'Good evening, World 🌍'
webreplay --app shop/build/libshop.so --config "$config" /var/lib/webhttpserver >made.log 2>&1 ||
    die "what was recorded cannot be replayed"
((SECONDS < 60)) || die "$SECONDS seconds are too long for an application"
rm /usr/lib/webhttpserver/libshop.so

apt-get purge -qqy webhttpserver webhttpserver-dev >purge.log 2>&1 || die "it cannot be removed"
left=$(find / -xdev \( -path /tried -o -path /var/lib/apt -o -path /var/cache -o -path /run \) -prune -o \
    \( -name '*webhttpserver*' -o -name '*webcontainer*' -o -name 'libzq*' -o -path /usr/include/zq \) -print)
[[ -z $left ]] || die "it leaves $left"
echo "installed, served, upgraded, developed with and purged"
