# bash completion for tvkstore

_tvkstore() {
    local current=${COMP_WORDS[COMP_CWORD]}
    local previous=${COMP_WORDS[COMP_CWORD - 1]}
    local everywhere="--store --provider --json --module --trace --help"
    local item="--label --serial --issuer --cert"
    COMPREPLY=()

    local word command=
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
        providers | list | show | find | create | import | export | update | delete | sign | verify | encrypt | decrypt | random)
            command=$word
            break
            ;;
        esac
    done

    # --public-key is a file for find and a flag for export; what import is given without an option are files.
    local digests="md5 sha1"
    case $command in
    create) digests="default md5 sha1" ;;
    verify) digests="md5 sha1 sha224 sha256 sha384 sha512" ;;
    find) [ "$previous" != --public-key ] || previous=--cert ;;
    import) [[ $current == -* ]] || [[ $previous == --* ]] || previous=--cert ;;
    esac

    case $previous in
    --store)
        mapfile -t COMPREPLY < <(compgen -W "MY CA ROOT UserDS" -- "$current")
        return
        ;;
    --module | --cert | --key | --in | --out | --signature)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        return
        ;;
    --digest)
        mapfile -t COMPREPLY < <(compgen -W "$digests" -- "$current")
        return
        ;;
    --passphrase-source)
        mapfile -t COMPREPLY < <(compgen -W "file: env:" -- "$current")
        return
        ;;
    --provider | --label | --new-label | --subject | --serial | --issuer | --days)
        return
        ;;
    esac

    local words
    case $command in
    "") words="providers list show find create import export update delete sign verify encrypt decrypt random --version $everywhere" ;;
    list) words="--keys $everywhere" ;;
    show) words="--keys $item $everywhere" ;;
    find) words="$item --subject --public-key $everywhere" ;;
    create) words="--label --subject --days --digest $everywhere" ;;
    import) words="--key --label --passphrase-source $everywhere" ;;
    export) words="$item --certificate --public-key --private-key --der --out --force $everywhere" ;;
    update) words="$item --new-label $everywhere" ;;
    delete) words="$item --all --force --dry-run $everywhere" ;;
    sign) words="$item --digest --in --out --force $everywhere" ;;
    verify) words="$item --digest --in --signature $everywhere" ;;
    encrypt | decrypt) words="$item --in --out --force $everywhere" ;;
    random) words="--out --hex --force $everywhere" ;;
    *) words=$everywhere ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _tvkstore tvkstore
