# What the scripts that build and test share. They source it, and name the folder for its log in `logs`.

failed=()

# Runs a step, says how long it took and how many tests it had, and keeps its output to itself unless it fails.
step() {
    local name=$1 began=$SECONDS log="$logs/step"
    shift
    printf '== %s ... ' "$name"
    if "$@" >"$log" 2>&1 </dev/null; then
        printf '%d s\n' $((SECONDS - began))
        grep ' tests passed, ' "$log" || true
    else
        printf 'FAILED after %d s\n' $((SECONDS - began))
        tail -n 120 "$log"
        failed+=("$name")
        return 1
    fi
}

# Of the tests that pass only their number is of interest.
without_passed() { grep -vE '^ +Start +[0-9]+: | Passed +[0-9.]+ sec'; }

# Runs a command in address spaces that are laid out alike each time, where the system allows it.
steady() { if setarch -R true 2>/dev/null; then setarch -R "$@"; else "$@"; fi; }
