# Completion of plexa's command lines for fish.
function __plexa_candidates
    set -l words (commandline -opc) (commandline -ct)
    plexa __complete $words[2..-1] 2>/dev/null
end
function __plexa_takes_script
    set -l words (commandline -opc)
    test "$words[2]" = script -a "$words[3]" = run
end
complete -c plexa -f -a '(__plexa_candidates)'
complete -c plexa -n __plexa_takes_script -F
