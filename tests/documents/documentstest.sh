#!/usr/bin/env bash
# documentstest.sh BUILD SOURCES COMPILER DOCUMENT ...: does what the documents say, in a folder for each of them, with
# what installtest.sh has installed. What stands behind the language of a block tells what becomes of it:
#
#   file=F      a file that the reader writes; append=F: further lines of it. C++ must be compiled by what follows.
#               The line before names it to the reader
#   is=F in=F   a file of the sources, beside the document; some lines of one
#   sh          commands, which are run. serve: the last one serves until another one does. elsewhere: commands for
#               another machine, whose syntax, programs, options and packages are looked at
#   console     commands behind "$ ", each with all of its output; "..." stands for any
#   text        for people
set -euo pipefail
build=$1 sources=$2 compiler=$3
shift 3
root=$build/installtest/moved
stage=$build/documentstest
server=
trap '[[ ! $server ]] || kill "$server"' EXIT
rm -rf "$stage" && mkdir -p "$stage"
export PATH=$root/bin:$PATH CMAKE_PREFIX_PATH=$root PKG_CONFIG_PATH=$root/lib/pkgconfig CXX=$compiler LC_ALL=C.UTF-8
export CMAKE_BUILD_PARALLEL_LEVEL=2
! command -v ccache >/dev/null || export CMAKE_CXX_COMPILER_LAUNCHER=ccache

die() {
    echo "$document:$number: $*" >&2
    [[ ! -s $stage/output ]] || tail -n 20 "$stage/output" >&2
    exit 1
}

# Two ports that nobody listens at, in place of those in the documents.
while port=$((RANDOM % 10000 + 20000)); do
    if ! { : <>"/dev/tcp/127.0.0.1/$port" || : <>"/dev/tcp/127.0.0.1/$((port + 1))"; } 2>/dev/null; then break; fi
done

# run TEXT: in the folder that the one before has gone to.
run() {
    (cd "$folder" && bash -euo pipefail -c "$1"$'\n'"pwd >'$stage/folder'" </dev/null) || return 1
    folder=$(<"$stage/folder")
}

# How often a server has begun to serve. One that watches does so again when its library has been built.
begun() { grep -c '^[a-z]*: serving http' "$stage/server" || true; }
library() { [[ ! $server ]] || (cd "$folder" && stat -c %Y.%i.%s build/*.so 2>/dev/null) || true; }

# await NUMBER: until it has done so more often.
await() {
    local n
    for ((n = 0; n < 100; n++)); do
        (($(begun) <= $1)) || return 0
        sleep 0.1
    done
    cp "$stage/server" "$stage/output"
    die "nobody serves"
}

serve() {
    [[ ! $server ]] || { kill "$server" && wait "$server"; } || die "the server before has not ended well"
    (cd "$folder" && exec bash -c "exec $1") >"$stage/server" 2>&1 &
    server=$!
    await 0
}

# expect COMMAND OUTPUT
expect() {
    local got wanted
    [[ $1 ]] || return 0
    got=$(run "$1" 2>"$stage/output" | tr -d '\r') || die "$1 fails"
    wanted=$(sed -E 's/[^[:alnum:][:space:]]/\\&/g; s/(\\\.){3}/*/g' <<<"$2")
    # shellcheck disable=SC2053 # it is a pattern
    [[ $got == $wanted ]] || die "$1 writes"$'\n'"$got"
}

converse() {
    local line command='' output=''
    while IFS= read -r line; do
        if [[ $line == '$ '* ]]; then
            expect "$command" "${output%$'\n'}"
            command=${line#$ } output=
        else
            output+=$line$'\n'
        fi
    done <<<"${1%$'\n'}"
    expect "$command" "${output%$'\n'}"
}

# Programs that a machine for building need not have.
known="systemctl journalctl"

# review TEXT: commands that are not run.
review() {
    local line word name file
    bash -n <<<"$1" || die "that is no command"
    while read -r line; do
        for word in $line; do [[ $word == *=* ]] || break; done
        name=$word file=$sources/$name
        [[ -f $file ]] || file=
        if [[ $name == */* ]]; then
            [[ $file || $name == "$build"/bin/* && -x $name ]] || die "there is no $name"
        else
            [[ " $known " == *" $name "* ]] || command -v "$name" >/dev/null || die "there is no program $name"
        fi
        for word in $line; do
            case $name,$word in
                webcontainer,--* | */webcontainer,--*)
                    "$root/bin/webcontainer" --help | grep -q -- "$word\b" || die "$name has no $word" ;;
                */*,--*) [[ ! $file ]] || grep -qw -- "${word%%=*}" "$file" || die "$name has no $word" ;;
                apt,[a-z]*) [[ $word =~ ^(apt|install|update)$ ]] || grep -qw -- "$word" "$sources/script/setup" ||
                    die "script/setup does not know the package $word" ;;
                systemctl,enable | systemctl,stop | systemctl,reload | systemctl,restart | systemctl,kill | *,QUIT) ;;
                systemctl,[a-z]* | journalctl,[a-z]*)
                    [[ $word == *.* ]] || word+=.service
                    [[ $name == "${word%.*}" || -f $sources/deploy/$word ]] || die "there is no unit $word" ;;
            esac
        done
    done < <(sed -E "s/'[^']*'/quoted/g; s/(^|[[:space:]])#.*//; s/[|;&]+/\n/g" <<<"$1" | grep '[^[:space:]]')
}

# same FILE LINES TEXT: whether the text is the whole file, or lines of it whatever their indentation.
same() {
    local have text=$3
    have=$(<"$1")
    if [[ $2 == lines ]]; then
        have=$'\n'$(sed 's/^ *//' <<<"$have")$'\n'
        text=$'\n'$(sed 's/^ *//' <<<"$text")$'\n'
        [[ $have == *"$text"* ]]
    else
        [[ $have == "${text%$'\n'}" ]]
    fi
}

# do_block INFO TEXT
do_block() {
    local info=$1 text=$2 file=${1#*=} before loaded
    blocks=$((blocks + 1))
    case $info in
        *\ is=*) same "$(dirname "$document")/$file" whole "$text" || die "that is not $file"; return ;;
        *\ in=*) same "$(dirname "$document")/$file" lines "$text" || die "that is not in $file"; return ;;
    esac
    text=${text//127.0.0.1:8080/127.0.0.1:$port} text=${text//127.0.0.1:9180/127.0.0.1:$((port + 1))}
    text=${text//build\/server/$build} text=${text//\/usr\/share/$root/share}
    case $info in
        *\ file=*) mkdir -p "$folder/$(dirname "$file")" && printf %s "$text" >"$folder/$file"
            [[ $file != *.cpp ]] || written+=("$(basename "$file")") ;;
        *\ append=*) printf '\n%s' "$text" >>"$folder/$file" ;;
        sh)
            before=$(library) loaded=$(begun)
            run "$text" >"$stage/output" 2>&1 || die "that fails"
            [[ $(library) == "$before" || $before == '' ]] || await "$loaded" ;;
        "sh serve")
            text=${text%$'\n'}
            [[ $text != webcontainer* ]] || text+=" --listen 127.0.0.1:$port --admin 127.0.0.1:$((port + 1))"
            serve "${text/ 8080/ $port}" ;;
        "sh elsewhere") review "$text" ;;
        console) converse "$text" ;;
        text) ;;
        *) die "nobody knows what becomes of a block that is called \"$info\"" ;;
    esac
    rm -f "$stage/output"
}

for document in "$@"; do
    folder=$stage/$(basename "$document" .md) number=0 inside='' margin='' previous='' said='' written=() blocks=0
    mkdir -p "$folder" && : >"$stage/server"
    while IFS= read -r line <&9; do
        number=$((number + 1))
        if [[ ! $inside && $line =~ ^(\ *)\`\`\`(.*) ]]; then
            inside=yes info=${BASH_REMATCH[2]} margin=${BASH_REMATCH[1]} text=
            [[ ! $info =~ (file|append)=(.*) || $said == *\`"${BASH_REMATCH[2]}"\`* ]] ||
                die "nobody tells the reader that this is ${BASH_REMATCH[2]}"
            continue
        fi
        line=${line#"$margin"}
        if [[ $inside && $line == '```' ]]; then
            inside='' margin='' && do_block "$info" "$text"
        elif [[ $inside ]]; then
            text+=$line$'\n'
        else
            [[ $line != '    '* || $previous ]] || die "a block without a language"
        fi
        previous=$line
        [[ $inside || ! $line ]] || said=$line
    done 9<"$document"
    [[ ! $inside ]] || die "a block without an end"
    for file in "${written[@]}"; do
        [[ $(find "$stage" -name "$file.o") ]] || die "nobody has compiled $file"
    done
    [[ ! $server ]] || { kill "$server" && wait "$server" && server=; } || die "the server has not ended well"
    echo "${document#"$sources"/}: $blocks blocks"
done
