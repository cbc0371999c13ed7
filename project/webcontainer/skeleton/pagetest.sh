#!/usr/bin/env bash
# pagetest.sh PROGRAM APPLICATION: serves the application at any free port and looks at its pages.
set -euo pipefail

coproc server { exec "$1" --config "$(dirname "$0")/hello.toml" --app "$2" --listen 127.0.0.1:0 --admin ""; }
trap 'kill "$server_PID" 2>/dev/null || true' EXIT
read -r line <&"${server[0]}"
port=${line##*:}
port=${port%/}

# expect TEXT URL
expect() {
    local answer
    exec 3<>"/dev/tcp/127.0.0.1/$port"
    printf 'GET %s HTTP/1.0\r\n\r\n' "$2" >&3
    answer=$(cat <&3)
    [[ $answer == *"$1"* ]] || { echo "$2 has no \"$1\" in it: $answer" >&2 && exit 1; }
}

expect "Good morning, World" /
expect "Good morning, Wörld" "/?name=W%C3%B6rld"
expect "HTTP/1.1 400 " "/.hidden"
