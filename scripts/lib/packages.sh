# Shared by scripts/run and scripts/test: reads scripts/debian-packages and installs what is
# missing. Source it; it defines functions only.

orvanta_package_list="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/debian-packages"

# Prints the packages of the given sections, one a line.
orvanta_packages() {
    local wanted=" $* " section="" line
    while IFS= read -r line || [[ -n "$line" ]]; do
        line="${line%%#*}"
        line="${line//[[:space:]]/}"
        [[ -z "$line" ]] && continue
        if [[ "$line" =~ ^\[(.+)\]$ ]]; then
            section="${BASH_REMATCH[1]}"
        elif [[ "$wanted" == *" ${section:-build} "* ]]; then
            printf '%s\n' "$line"
        fi
    done <"$orvanta_package_list"
}

# Installs the packages of the given sections that are not installed yet. Runs apt-get (through
# sudo when not root) only when something is missing.
orvanta_install_packages() {
    local package missing=() status
    while IFS= read -r package; do
        status="$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)"
        [[ "$status" == "install ok installed" ]] || missing+=("$package")
    done < <(orvanta_packages "$@")
    if (( ${#missing[@]} == 0 )); then
        return 0
    fi

    echo "Installing missing Debian packages: ${missing[*]}" >&2
    local sudo=()
    if [[ "$(id -u)" != 0 ]]; then
        if ! command -v sudo >/dev/null; then
            echo "error: not root and sudo is missing; install as root: ${missing[*]}" >&2
            return 1
        fi
        sudo=(sudo)
    fi
    "${sudo[@]}" apt-get update \
        && "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y --no-install-recommends "${missing[@]}"
}
