#!/usr/bin/env bash
# operationtest.sh PROGRAM APPLICATION DEPLOY: what is shipped for those who look after the server.
set -euo pipefail
program=$1 application=$2
source "$3/stage.bash"

# The unit for many instances is the unit for one, with places of their own.
sed -e '/^Description/s/$/: %i/' -e 's#/webhttpserver\.\(toml\|env\)#/%i.\1#' -e '/^[A-Z][a-z]*Directory=/s|$|/%i|' \
    "$deploy/webhttpserver.service" | diff - "$deploy/webhttpserver@.service" || die "the two units differ"

start_instance A

# Rotated under load, every line is in one of the files, once.
sed -e "s|^/var.* {|$stage/access_A {|" -e "s|systemctl .*|kill -HUP ${instance[A]}|" -e 's/daily/size 1/' \
    "$deploy/webhttpserver.logrotate" >"$stage/logrotate.conf"
grep -q 'kill -HUP' "$stage/logrotate.conf" || die "logrotate's file has no signal"
chmod 644 "$stage/logrotate.conf"
count=20000
curl -fsS -o /dev/null "http://$WEB_A/request?[1-$count]" &
load=$!
rotations=0
while kill -0 "$load" 2>/dev/null && ((rotations < 8)); do
    sleep 0.3
    logrotate --force --state "$stage/state" "$stage/logrotate.conf" || die "logrotate failed"
    rotations=$((rotations + 1))
done
wait "$load" || die "the load failed"
((rotations > 2)) || die "the load was over before it was rotated"

# Every metric that alerts and dashboard ask for is there, and both are valid.
curl -fsS "http://$ADMIN_A/metrics" >"$stage/metrics"
promtool check metrics <"$stage/metrics" || die "the metrics are not well made"
promtool check rules "$deploy/alerts.yml" >"$stage/rules.log" || die "the alerts are not valid"
jq -r '.panels[].targets[].expr' "$deploy/dashboard.json" >"$stage/panels"
sed 's/\$__rate_interval/1m/g' "$stage/panels" |
    jq -Rn '{groups: [{name: "panels", rules: [inputs | {record: "panel", expr: .} | .labels = {n: (input_line_number | tostring)}]}]}' >"$stage/panels.json"
promtool check rules "$stage/panels.json" >>"$stage/rules.log" || die "the dashboard is not valid"
metrics=$(grep -ohE '\b(webcontainer|log|process|httpserver)_[a-z_]+' "$deploy/alerts.yml" "$stage/panels" | sort -u)
(($(wc -l <<<"$metrics") >= 12)) || die "few metrics: $metrics"
for metric in $metrics; do
    grep -qE "^$metric(\{| )" "$stage/metrics" || die "there is no metric $metric"
done
promtool test rules "$(dirname "$(realpath "$0")")/alertstest.yml" >"$stage/rules.log" 2>&1 || die "alerts are not raised"

stop_instance A
files=("$stage"/access_A*)
((${#files[@]} > 3)) || die "the log was rotated but the server has not noticed"
zcat -f "$stage"/access_A* | sed -n 's/.*"GET \/request?\([0-9]*\) .*/\1/p' | sort -n >"$stage/logged"
seq "$count" | diff - "$stage/logged" >"$stage/diff.log" || die "lines of the access log are lost or doubled"
