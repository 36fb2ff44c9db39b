#!/usr/bin/env bash
# installs what is missing on a Debian machine: cross compiler, Wine, test and tool packages; any given ones too
set -euo pipefail

packages=(
    ca-certificates git cmake ninja-build g++ clang-format clang-tidy
    g++-mingw-w64-i686-posix mingw-w64-tools
    wine wine32:i386
    libgtest-dev libgmock-dev libasio-dev libcli11-dev nlohmann-json3-dev
    libgcrypt20-dev libgpg-error-dev libgcrypt-mingw-w64-dev libgpg-error-mingw-w64-dev
    ffmpeg
    "$@"
)

missing() {
    # dpkg-query prints "ok installed NAME" for what is there; an unknown name only makes it exit with 1.
    local installed package
    installed=$(dpkg-query -W -f='${Status} ${Package}:${Architecture}\n' "${packages[@]%%:*}" 2>/dev/null || true)
    for package in "${packages[@]}"; do
        case $package in
        *:*) grep -q "ok installed ${package}\$" <<<"$installed" || echo "$package" ;;
        *) grep -q "ok installed ${package}:" <<<"$installed" || echo "$package" ;;
        esac
    done
}

mapfile -t wanted < <(missing)
((${#wanted[@]})) || exit 0

[[ -r /etc/debian_version ]] || {
    echo "setup: this is not a Debian machine; install the equivalents of: ${wanted[*]}" >&2
    exit 1
}
asRoot=()
if ((EUID != 0)); then
    command -v sudo >/dev/null || {
        echo "setup: run './dev setup' once as root; it installs: ${wanted[*]}" >&2
        exit 1
    }
    asRoot=(sudo)
fi

. /etc/os-release
echo "setup: installing ${wanted[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
{
    "${asRoot[@]}" dpkg --add-architecture i386
    # One index that cannot be fetched (the i386 one of the security archive is known for it) is no reason to stop:
    # whether everything needed is there shows at the installation.
    "${asRoot[@]}" apt-get update || true
    # The release's own versions, because a newer amd64 library without its i386 twin cannot be installed beside it.
    "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
        -t "$VERSION_CODENAME" "${wanted[@]}"
} >"$log" 2>&1 || {
    tail -n 40 "$log" >&2
    echo "setup: the installation failed; the last messages of apt are above." >&2
    exit 1
}
mapfile -t wanted < <(missing)
((${#wanted[@]} == 0)) || {
    echo "setup: still missing after the installation: ${wanted[*]}" >&2
    exit 1
}
