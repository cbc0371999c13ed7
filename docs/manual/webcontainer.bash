# bash completion for webcontainer; the program itself says what options it has.

_webcontainer() {
    local cur prev words cword split
    _init_completion -s || return
    case $prev in
        --config) _filedir toml ;;
        --app) _filedir so ;;
        --listen | --admin | new) ;;
        *) mapfile -t COMPREPLY < <(compgen -W "$(_parse_help "$1") new" -- "$cur") ;;
    esac
} &&
    complete -F _webcontainer webcontainer
