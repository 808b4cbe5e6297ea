# bash completion for esactl                                               -*- shell-script -*-

# Names of the elements of one kind, as the adapter reports them; nothing when it cannot be asked.
_esactl_elements() {
    local kind=$1
    shift
    esactl "$@" --timeout 1 --json config 2>/dev/null | while IFS= read -r line; do
        case $line in
        *"\"$kind\":"*)
            local count=${line//[!0-9]/}
            local i
            for ((i = 0; i < ${count:-0}; i++)); do
                case $kind in
                drives) printf 'slot%02d\n' "$i" ;;
                power_supplies) printf 'psu%d\n' "$i" ;;
                fans) printf 'fan%d\n' "$i" ;;
                esac
            done
            ;;
        esac
    done
}

_esactl() {
    local cur=${COMP_WORDS[COMP_CWORD]}
    local prev=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="status config led fan psu alarm events history watch raw page bundle decode"
    local common="--directory --timeout --json --help"
    local command="" position=0 i
    local -a where=()

    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        --directory)
            where=(--directory "${COMP_WORDS[i + 1]}")
            ((i++))
            ;;
        --timeout | --format | --output | --interval | --count | --page | --since | --until | --element | --type | --monitor | \
            --log-directory | --key) ((i++)) ;;
        -*) ;;
        *) if [[ -z $command ]]; then command=${COMP_WORDS[i]}; else ((position++)); fi ;;
        esac
    done

    case $prev in
    --directory | --log-directory)
        mapfile -t COMPREPLY < <(compgen -d -- "$cur")
        return
        ;;
    --output | --monitor)
        mapfile -t COMPREPLY < <(compgen -f -- "$cur")
        return
        ;;
    --format)
        mapfile -t COMPREPLY < <(compgen -W "text json prometheus" -- "$cur")
        return
        ;;
    --page)
        mapfile -t COMPREPLY < <(compgen -W "1 2" -- "$cur")
        return
        ;;
    --timeout | --interval | --count | --since | --until | --element | --type | --key) return ;;
    esac

    local words=""
    if [[ $cur == -* ]]; then
        words=$common
        case $command in
        "") words+=" --version" ;;
        status) words+=" --format --output" ;;
        led) words+=" --force" ;;
        events) words+=" --follow --startup --all --count --since --until --element --type --monitor" ;;
        history) words+=" --since --until --plot --monitor" ;;
        watch) words+=" --interval --all --count" ;;
        raw) words+=" --page" ;;
        page) words+=" --standard --output" ;;
        bundle) words+=" --output --log-directory --key --monitor" ;;
        esac
    else
        case $command:$position in
        :*) words=$commands ;;
        led:0) words="all $(_esactl_elements drives "${where[@]}")" ;;
        fan:0) words=$(_esactl_elements fans "${where[@]}") ;;
        psu:0) words=$(_esactl_elements power_supplies "${where[@]}") ;;
        led:1 | fan:1) words="on off" ;;
        psu:1) words="fail ok" ;;
        alarm:0) words="mute fault critical" ;;
        page:0) words="1 2" ;;
        decode:0)
            mapfile -t COMPREPLY < <(compgen -f -- "$cur")
            return
            ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
}

complete -F _esactl esactl
