# Completion of plexa's command lines for fish.
function __plexa_candidates
    set -l words (commandline -opc) (commandline -ct)
    plexa __complete $words[2..-1] 2>/dev/null
end
complete -c plexa -f -a '(__plexa_candidates)'
complete -c plexa -n '__fish_seen_subcommand_from run' -F
