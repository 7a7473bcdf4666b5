# Shell functions for the scripts that need packages of Debian 12. Source it from bash.

# as_root COMMAND...: runs it as root, through sudo if need be.
as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        echo "need root (or sudo) for: $*" >&2
        return 1
    fi
}

# need_packages NAME...: installs those that are missing; says which; shows the whole log if it cannot.
need_packages() {
    local name log missing=()
    for name in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null)" = installed ] || missing+=("$name")
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    echo "Installing ${missing[*]}"
    log=$(mktemp)
    # An index that fails to update may still be good enough: the installation decides.
    as_root apt-get -qq -o DPkg::Lock::Timeout=300 update >"$log" 2>&1 || true
    if ! as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y -o DPkg::Lock::Timeout=300 \
        install --no-install-recommends "${missing[@]}" </dev/null >>"$log" 2>&1; then
        cat "$log" >&2
        echo "could not install ${missing[*]}" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}
