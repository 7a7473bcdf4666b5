# Shell functions for scripts that need other programs: Debian's packages. Source it from bash.

# as_root COMMAND...: runs it as root, with sudo if necessary.
as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        echo "neither root nor sudo" >&2
        return 1
    fi
}

index_was_updated=false

# need_packages NAME...: installs missing ones. The last line on standard error names those that cannot be installed.
need_packages() {
    local name log missing=()
    for name in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null)" = installed ] || missing+=("$name")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    if ! command -v apt-get >/dev/null; then
        echo "no apt-get here to install ${missing[*]}" >&2
        return 1
    fi
    echo "Installing ${missing[*]}"
    log=$(mktemp)
    # An index that fails to update may still be good enough: the installation decides.
    $index_was_updated || as_root apt-get -qq -o DPkg::Lock::Timeout=300 update >"$log" 2>&1 || true
    index_was_updated=true
    if ! as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y -o DPkg::Lock::Timeout=300 \
        install --no-install-recommends "${missing[@]}" </dev/null >>"$log" 2>&1; then
        cat "$log" >&2
        echo "could not install ${missing[*]}" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}

# need_programs PROGRAM:PACKAGE...: the same for packages whose programs are not in PATH. Skips the package manager if none is missing.
need_programs() {
    local pair missing=()
    for pair in "$@"; do
        command -v "${pair%%:*}" >/dev/null || [[ " ${missing[*]} " == *" ${pair#*:} "* ]] || missing+=("${pair#*:}")
    done
    [ ${#missing[@]} = 0 ] || need_packages "${missing[@]}"
}
