# bash completion for qvcan, qvcandev, qvbus, qvcancheck and qvcancheck-plot. It needs bash 4.3 and nothing else.

# The folder that lists the network interfaces.
_qv_net=/sys/class/net

_qv_kinds='all lost repeated reordered late corrupted uninjected format restart jump stray gap absent surplus unanswered
    slow early pace overrun foreign'

_qv_prefixes='y z a f p n µ u m c d de h k M G T P E Z Y'

# Interfaces whose hardware type is ARPHRD_CAN (linux/if_arp.h): can, vcan, vxcan, slcan.
_qv_interfaces() {
    local folder type
    for folder in "$_qv_net"/*; do
        [[ -r $folder/type ]] && read -r type <"$folder/type" && [[ $type == 280 ]] && printf '%s\n' "${folder##*/}"
    done
}

# Files and folders that begin with $1.
_qv_files() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$1")
}

# The same, but of the files only character devices and pipes, as long as there are any.
_qv_devices() {
    local all=() name path
    _qv_files "$1"
    all=("${COMPREPLY[@]}")
    COMPREPLY=()
    for name in "${all[@]}"; do
        path=$name
        [[ $path == '~'* ]] && path=$HOME${name#'~'}
        [[ -d $path || -c $path || -p $path ]] && COMPREPLY+=("$name")
    done
    [[ ${#COMPREPLY[@]} -gt 0 ]] || COMPREPLY=("${all[@]}")
}

# A number and each SI prefix; nothing where there is no number yet.
_qv_time() {
    local number=${1%%[!0-9]*}
    [[ -n $number ]] && mapfile -t COMPREPLY < <(compgen -P "$number" -W "$_qv_prefixes" -- "${1#"$number"}")
}

# The kinds of findings behind the last comma.
_qv_findings() {
    local before=
    [[ $1 == *,* ]] && before=${1%,*},
    mapfile -t COMPREPLY < <(compgen -P "$before" -W "$_qv_kinds" -- "${1##*,}")
    compopt -o nospace 2>/dev/null
}

# Those of the options $1 that begin with $2.
_qv_options() {
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
    [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace 2>/dev/null
}

# Sets `option` to the one whose argument is completed, and `current` to what there is of it. `flags` are the letters without argument.
_qv_split() {
    local flags=$1 words=("${COMP_WORDS[@]:0:COMP_CWORD}") previous
    current=${COMP_WORDS[COMP_CWORD]}
    option=
    # bash cuts --device=can0 into three words.
    if [[ $current == = ]]; then
        current=
    elif [[ ${words[-1]} == = ]]; then
        unset 'words[-1]'
    fi
    previous=${words[-1]}
    if [[ $previous == --?* ]]; then
        option=$previous
    elif [[ $previous == -?* ]]; then
        # A cluster asks for an argument when its last letter is the only one that takes any.
        previous=${previous#-}
        while [[ -n $previous && $flags == *"${previous:0:1}"* ]]; do
            previous=${previous:1}
        done
        [[ ${#previous} == 1 ]] && option=-$previous
    fi
}

_qv() {
    local program=${1##*/} flags=hvafbpy current option
    local options='-h --help -v --verbose -d --device= -r --receive= -a --answer -s --send= -f --fd -b --brs -p --pattern
        -l --loop= -c --channel= -i --id= -t --time= -j --jitter= -e --error= -y --sync'
    if [[ $program == qvbus ]]; then
        flags=hv
        options='-h --help -v --verbose -n --nodes= -l --link='
    elif [[ $program == qvcancheck ]]; then
        flags=hvqfba
        options='-h --help -v --verbose -q --quiet -d --device= -i --id= -l --loop= -t --time= -j --jitter= -e --error= -f --fd
            -b --brs -a --answer -T --duration= --idle= --stop -w --wait= --allow= --max-gap= --max-rtt= -I --interval= --json --dump='
    elif [[ $program == qvcancheck-plot ]]; then
        flags=h
        options='-h --help -o --output='
    fi
    COMPREPLY=()
    _qv_split "$flags"
    case $program:$option in
    qvcan:-d | qvcan:--device | qvcancheck:-d | qvcancheck:--device) mapfile -t COMPREPLY < <(compgen -W "$(_qv_interfaces)" -- "$current") ;;
    qvcandev:-d | qvcandev:--device) _qv_devices "$current" ;;
    qvbus:-l | qvbus:--link | qvcancheck:--json | qvcancheck:--dump | qvcancheck-plot:-o | qvcancheck-plot:--output | \
        *:-r | *:--receive | *:-s | *:--send) _qv_files "$current" ;;
    *:-t | *:--time | *:-j | *:--jitter | qvcancheck:-[wTI] | qvcancheck:--wait | qvcancheck:--duration | \
        qvcancheck:--interval | qvcancheck:--idle | qvcancheck:--max-gap | qvcancheck:--max-rtt) _qv_time "$current" ;;
    qvcancheck:--allow | qvcancheck:--stop) _qv_findings "$current" ;;
    qvbus:-n | qvbus:--nodes | *:-[lcie] | *:--loop | *:--channel | *:--id | *:--error) ;; # a number
    qvcancheck: | qvcancheck-plot:)
        if [[ $current == -* ]]; then
            _qv_options "$options" "$current"
        else
            _qv_files "$current"
        fi
        ;;
    *) _qv_options "$options" "$current" ;;
    esac
    return 0
}

complete -F _qv qvcan qvcandev qvbus qvcancheck qvcancheck-plot
