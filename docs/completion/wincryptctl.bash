# bash completion for wincryptctl

_wincryptctl() {
    local current=${COMP_WORDS[COMP_CWORD]}
    local everywhere="--scope --json --help"
    COMPREPLY=()

    if [[ ${COMP_WORDS[COMP_CWORD - 1]} == --scope ]]; then
        mapfile -t COMPREPLY < <(compgen -W "user machine" -- "$current")
        return
    fi

    local word command=
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
        containers | orphans | check | backup)
            command=$word
            break
            ;;
        esac
    done

    local words
    case $command in
    "") words="containers orphans check backup --version $everywhere" ;;
    orphans) words="--remove --force --dry-run $everywhere" ;;
    check) words="--clean $everywhere" ;;
    backup)
        if [[ $current != -* ]]; then
            compopt -o filenames
            mapfile -t COMPREPLY < <(compgen -d -- "$current")
            return
        fi
        words=$everywhere
        ;;
    *) words=$everywhere ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _wincryptctl wincryptctl
