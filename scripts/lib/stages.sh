# Shell functions for a run in stages: the current stage, its progress, and its start. Source it from bash.

logs=$(mktemp -d)
mkfifo "$logs/never" # has no writer
watcher=
declare -A running=() # name: process group

# shellcheck disable=SC2317 # called by the trap
end_all() {
    local group
    [ -z "$watcher" ] || kill "$watcher" 2>/dev/null || true
    for group in "${running[@]}"; do
        kill -- "-$group" 2>/dev/null || true
    done
    rm -rf -- "$logs"
}
trap 'end_all 2>/dev/null' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

clock() {
    printf '%d:%02d' $((SECONDS / 60)) $((SECONDS % 60))
}

stage() {
    printf '\n=== %s  %s\n' "$(clock)" "$1"
}

# start NAME COMMAND...: runs it in the background, in a process group of its own, with its output in $logs/NAME.
start() {
    set -m
    "${@:2}" >"$logs/$1" 2>&1 </dev/null &
    set +m
    running[$1]=$!
}

# finish NAME: waits for it while showing progress. If it failed, shows its output and ends the run.
finish() {
    local status=0
    show_counts &
    watcher=$!
    wait "${running[$1]}" || status=$?
    unset "running[$1]"
    kill "$watcher" 2>/dev/null || true
    wait "$watcher" 2>/dev/null || true
    watcher=
    [ ! -t 1 ] || printf '\r\033[K'
    [ $status = 0 ] || { show_failure "$1"; exit 1; }
}

# Without the lines about what started and passed.
show_failure() {
    grep -vE '^ +Start +[0-9]+: | Passed +[0-9.]+ sec$|^\[[0-9]+/[0-9]+\] (Building|Linking) ' "$logs/$1" || true
    printf '\n=== %s  FAILED: %s\n' "$(clock)" "$1"
}

# how_far NAME: the last count in its output, in the format of ninja ("[3/140] ...") or ctest ("3/1462 Test ...").
how_far() {
    { grep -oE '^ *\[?[0-9]+/[0-9]+' "$logs/$1" || true; } | tail -n 1 | tr -d '[ '
}

# Until killed: shows the progress of everything that runs. On a terminal as one line updated each second, otherwise as a line every 20 s.
show_counts() {
    local never name text pause=20 begin='' end=$'\n'
    if [ -t 1 ]; then
        pause=1 begin=$'\r\033[K' end=
    fi
    exec {never}<>"$logs/never" # reading it is a sleep that leaves no process behind
    while ! read -rt "$pause" -u "$never"; do
        text=
        for name in "${!running[@]}"; do
            text+="   $name $(how_far "$name")"
        done
        printf '%s    %s%s%s' "$begin" "$(clock)" "$text" "$end"
    done
}
