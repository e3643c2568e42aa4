# bash completion for tvkstore

_tvkstore() {
    local current=${COMP_WORDS[COMP_CWORD]}
    local previous=${COMP_WORDS[COMP_CWORD - 1]}
    local everywhere="--store --provider --json --module --trace --help"
    local item="--label --serial --issuer --cert"
    COMPREPLY=()

    case $previous in
    --store)
        mapfile -t COMPREPLY < <(compgen -W "MY CA ROOT UserDS" -- "$current")
        return
        ;;
    --module | --cert | --public-key | --in | --out | --signature)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --digest)
        mapfile -t COMPREPLY < <(compgen -W "md5 sha1 sha224 sha256 sha384 sha512" -- "$current")
        return
        ;;
    --provider | --label | --subject | --serial | --issuer)
        return
        ;;
    esac

    local word command=
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
        providers | list | show | find | sign | verify | encrypt | decrypt | random)
            command=$word
            break
            ;;
        esac
    done

    local words
    case $command in
    "") words="providers list show find sign verify encrypt decrypt random --version $everywhere" ;;
    list) words="--keys $everywhere" ;;
    show) words="--keys $item $everywhere" ;;
    find) words="$item --subject --public-key $everywhere" ;;
    sign) words="$item --digest --in --out --force $everywhere" ;;
    verify) words="$item --digest --in --signature $everywhere" ;;
    encrypt | decrypt) words="$item --in --out --force $everywhere" ;;
    random) words="--out --hex --force $everywhere" ;;
    *) words=$everywhere ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _tvkstore tvkstore
