# Bash completion of quorvactl: commands, options, tables and files, as quorvactl itself knows them. Needs only bash;
# source it, or install it where the bash-completion package looks, as a file named quorvactl.

_quorvactl()
{
    local program=${COMP_WORDS[0]/#\~/$HOME} words=() answer=() word='' current='' prefix='' i

    # Bash gives "--port=1" as three words, and parts of words with their quotes.
    for ((i = 1; i <= COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        case $word in
        \'*) word=${word:1} word=${word%\'} ;;
        \"*) word=${word:1} word=${word%\"} ;;
        *) word=${word//\\/} ;;
        esac
        if ((${#words[@]} > 0)) && [[ $word == [=:] || ${COMP_WORDS[i - 1]} == [=:] ]]; then
            words[-1]+=$word
        else
            words+=("$word")
        fi
    done
    [[ $word == [=:] ]] || current=$word
    prefix=${words[-1]%"$current"}

    mapfile -t answer < <("$program" __complete "${words[@]}" 2>/dev/null)
    case ${answer[0]} in
    files)
        local IFS=$'\n'
        compopt -o filenames 2>/dev/null
        COMPREPLY=($(compgen -f -- "$current"))
        return
        ;;
    tables) compopt -o filenames 2>/dev/null ;; # which quotes the "|", and adds the "/" to a directory
    esac
    COMPREPLY=()
    for word in "${answer[@]:1}"; do
        word=${word#"$prefix"}
        COMPREPLY+=("${word%/}")
    done
}

complete -F _quorvactl quorvactl
