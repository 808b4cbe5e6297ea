# bash completion for esafailsafe                                                    -*- shell-script -*-
_esafailsafe() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    # bash takes "--option=value" for three words.
    if [[ $cur == = ]]; then
        cur=
    elif [[ $prev == = ]]; then
        prev=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case $prev in
    --chassis) mapfile -t COMPREPLY < <(compgen -W "@CHASSIS_NAMES@ none" -- "$cur") ;;
    --seconds | --watch) COMPREPLY=() ;;
    *) mapfile -t COMPREPLY < <(compgen -W "--chassis --seconds --prepare --watch --help --version" -- "$cur") ;;
    esac
}
complete -F _esafailsafe esafailsafe
