# Fish completion of quorvactl: commands, options, tables and files, as quorvactl itself knows them. Source it, or
# install it in a directory of $fish_complete_path.

function __quorvactl_complete
    set -l words (commandline -opc)
    set -l current (string trim --left --chars '\'"' -- (commandline -ct) | string replace --all '\\' '')
    set -l answer ($words[1] __complete $words[2..-1] "$current" 2>/dev/null)
    if test "$answer[1]" = files
        __fish_complete_path (string replace --regex -- '^--[^=]*=' '' "$current")
    else if set -q answer[2]
        printf '%s\n' $answer[2..-1]
    end
end

complete --command quorvactl --no-files --arguments '(__quorvactl_complete)'
