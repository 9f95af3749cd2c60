# Bash completion of quorvactl: its commands, options and files. Needs only bash; source it, or install it where the
# bash-completion package looks, as a file named quorvactl.

_quorvactl()
{
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local commands='put get update delete scan query import export init create-table describe delete-table truncate
        drop-table compact check flush backup restore call'
    local operations='BatchWriteItem CreateTable DeleteItem DeleteTable DescribeTable GetItem PutItem Query Scan
        UpdateItem UpdateTable'
    local everywhere='--host --port --timeout --help'
    local command='' action='' arguments=0 onlyArguments='' options='' candidates='' files='' i

    # Bash gives "--port=1" as three words.
    [[ $word == '=' ]] && word=''
    [[ $previous == '=' ]] && previous=${COMP_WORDS[COMP_CWORD - 2]}

    # What precedes the word: the command, and the number of its arguments.
    for ((i = 1; i < COMP_CWORD; ++i)); do
        if [[ -z $onlyArguments ]]; then
            case ${COMP_WORDS[i]} in
            --)
                onlyArguments=yes
                continue
                ;;
            --between)
                ((i += 2))
                continue
                ;;
            --host | --port | --timeout | --if | --if-absent | --return | --set | --add | --remove | --attributes | \
                --limit | --max | --eq | --lt | --le | --gt | --ge | --begins-with | --skip | --state | --stall | --cache | --scratch)
                [[ ${COMP_WORDS[i + 1]} == '=' ]] && ((i += 1))
                ((i += 1))
                continue
                ;;
            -*) continue ;;
            esac
        fi
        if [[ -z $command ]]; then
            command=${COMP_WORDS[i]}
        elif [[ $command == backup && -z $action ]]; then
            action=${COMP_WORDS[i]}
        else
            ((arguments += 1))
        fi
    done

    case $command in
    '')
        options='--version'
        candidates="$commands $operations"
        ;;
    put)
        options='--if --if-absent --return'
        ((arguments == 1)) && files=yes
        ;;
    get) options='--attributes' ;;
    update) options='--set --add --remove --if --if-absent --return' ;;
    delete) options='--if --if-absent --return' ;;
    scan) options='--limit --max --count --attributes' ;;
    query)
        options='--eq --lt --le --gt --ge --begins-with --between --backward --limit --max --count --attributes'
        ;;
    import)
        options='--state --skip'
        ((arguments == 1)) && files=yes
        ;;
    export)
        options='--limit'
        ((arguments == 1)) && files=yes
        ;;
    init)
        everywhere='--help'
        options='--cache --force'
        ((arguments == 0)) && files=yes
        ;;
    create-table) options='--replace' ;;
    truncate | drop-table) options='--yes' ;;
    compact) ((arguments == 0)) && files=yes ;;
    check)
        everywhere='--help'
        options='--scratch'
        ((arguments == 0)) && files=yes
        ;;
    describe) options='--json' ;;
    backup)
        case $action in
        '') candidates='start update stop' ;;
        start) options='--wait --stall --replace' ;;
        esac
        [[ $action == start || $action == update ]] && ((arguments == 1)) && files=yes
        ;;
    restore)
        everywhere='--help'
        options='--without-list'
        ((arguments < 2)) && files=yes
        ;;
    call) ((arguments == 0)) && candidates=$operations ;;
    esac

    if ((i > COMP_CWORD)); then # the value of an option
        options='' everywhere='' candidates='' files=''
        case $previous in
        --return)
            candidates='none old'
            [[ $command == update ]] && candidates='none old new updated-old updated-new'
            ;;
        --state | --scratch) files=yes ;;
        esac
    fi
    if [[ $word == -* && -z $onlyArguments ]]; then
        COMPREPLY=($(compgen -W "$options $everywhere" -- "$word"))
    elif [[ -n $files ]]; then
        local IFS=$'\n'
        compopt -o filenames 2>/dev/null
        COMPREPLY=($(compgen -f -- "$word"))
    else
        COMPREPLY=($(compgen -W "$candidates" -- "$word"))
    fi
}

complete -F _quorvactl quorvactl
