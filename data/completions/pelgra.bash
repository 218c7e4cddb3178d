# Completion of pelgra(1) for bash.
_pelgra()
{
    local cur=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command= only_files= word
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
            convert | create | merge | split | organize | targets | wheel | tap | doctor) command=${command:-$word} ;;
            --) only_files=yes ;;
        esac
    done
    # The shell takes --to=png apart at the sign.
    [[ $cur == = ]] && cur= && previous='='
    [[ $previous == = ]] && previous=${COMP_WORDS[COMP_CWORD - (${#cur} > 0 ? 2 : 1)]}
    COMPREPLY=()
    case $previous in
        --to) COMPREPLY=($(compgen -W "jpg png heic tiff bmp pdf txt md" -- "$cur")); return ;;
        --jpeg-quality | --heic-quality | --dpi | --pages) return ;;
    esac
    if [[ $cur == -* && -z $only_files ]]; then
        local options="--json --help --version"
        [[ $command == convert ]] && options+=" --to --jpeg-quality --heic-quality --dpi"
        [[ $command == organize ]] && options+=" --pages --uniform-width"
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
    elif [[ -z $command ]]; then
        COMPREPLY=($(compgen -W "convert create merge split organize targets wheel tap doctor" -- "$cur"))
    elif [[ $command == tap ]]; then
        COMPREPLY=($(compgen -W "convert tools" -- "$cur"))
    else
        local IFS=$'\n'
        compopt -o filenames
        COMPREPLY=($(compgen -f -- "$cur"))
    fi
}
complete -F _pelgra pelgra
