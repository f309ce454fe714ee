# Completion of frond for bash. The options are those of frond's own --help.
_frond() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
    COMPREPLY=()
    if [ "$COMP_CWORD" = 1 ]; then
        mapfile -t COMPREPLY < <(compgen -W "key sample compare info about --help --version" -- "$word")
        return
    fi
    case $previous in
    --depth) mapfile -t COMPREPLY < <(compgen -W "8 16" -- "$word") ;;
    --subsampling) mapfile -t COMPREPLY < <(compgen -W "444 420" -- "$word") ;;
    --fit) mapfile -t COMPREPLY < <(compgen -W "cover stretch none" -- "$word") ;;
    --format)
        local formats="png tif jpg webp"
        [ "$command" = key ] || formats="png tif"
        mapfile -t COMPREPLY < <(compgen -W "$formats" -- "$word")
        ;;
    *)
        if [[ $word == -* ]]; then
            local options
            options=$("${COMP_WORDS[0]}" "$command" --help 2>/dev/null | grep -oE -- '--[A-Za-z][A-Za-z-]*' | sort -u)
            mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
        else
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
        fi
        ;;
    esac
}
complete -F _frond frond
