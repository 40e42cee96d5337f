# Completion of plexa's command lines for bash.
_plexa() {
    local rest=${COMP_LINE:0:COMP_POINT} words=() asked=() i word part
    # Bash parts words at ":", "=" and "@" too, and completes what stands behind the last of them alone.
    for ((i = 0; i <= COMP_CWORD; i++)); do
        part=${rest#"${rest%%[![:blank:]]*}"}
        word=${COMP_WORDS[i]}
        ((i < COMP_CWORD)) || word=$part
        if ((i > 0)) && [[ $part == "$rest" ]]; then words[-1]+=$word; else words+=("$word"); fi
        rest=${part:${#word}}
    done
    for word in "${words[@]}"; do
        case $word in
            [\"\']*) part=${word:1}; asked+=("${part%"${word:0:1}"}") ;;
            *) IFS= read word <<<"$word"; asked+=("$word") ;;
        esac
    done
    local current=${words[-1]} breaks=${COMP_WORDBREAKS-} typed= line
    breaks=${breaks//[^:=@]/}
    [[ -z $breaks ]] || typed=${current%"${current##*[$breaks]}"}
    COMPREPLY=()
    while IFS= read -r line; do
        case $current in
            \"*) [[ $line == *[\"\$\`\\]* ]] || COMPREPLY+=("$line") ;;
            \'*) [[ $line == *\'* ]] || COMPREPLY+=("$line") ;;
            *) line=$(printf '%q' "$line"); COMPREPLY+=("${line#"$typed"}") ;;
        esac
    done < <(plexa __complete "${asked[@]:1}" 2>/dev/null)
}
complete -o default -F _plexa plexa
