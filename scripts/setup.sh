#!/usr/bin/env bash
# Everything the project needs, on a fresh machine or again on a used one:
# Mono from Debian, a virtual environment of Python 3.12 with the Python
# packages, the stand-in DWSIM, and the compiled module.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

say() { printf '== %s\n' "$*" >&2; }

python312() {
    local p
    for p in "$(pyenv which python3.12 2>/dev/null || true)" /root/.pyenv/versions/3.12*/bin/python \
             "$(command -v python3.12 || true)"; do
        if [ -n "$p" ] && [ -x "$p" ]; then echo "$p"; return; fi
    done
    echo "setup: no Python 3.12 found (pyenv or python3.12 on PATH)" >&2
    exit 1
}

apt_install() {
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    say "installing $* from Debian"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "$@" >/dev/null
}

if ! dpkg -s mono-devel libmonosgen-2.0-dev >/dev/null 2>&1; then
    apt_install mono-devel libmonosgen-2.0-dev
fi

if [ ! -x .venv/bin/python ]; then
    say "creating .venv"
    "$(python312)" -m venv .venv
fi
say "Python packages"
.venv/bin/python -m pip install -q --disable-pip-version-check -r requirements-dev.txt

say "stand-in DWSIM"
bash standin/build.sh

say "kelvane.flowgate"
.venv/bin/python -m pip install -q --disable-pip-version-check --no-build-isolation .

# The stand-in host package goes on the venv's path; the compiled module
# lives in site-packages/kelvane and is found through the package's extended path.
site=$(.venv/bin/python -c 'import sysconfig; print(sysconfig.get_paths()["purelib"])')
echo "$root/host" > "$site/kelvane-host.pth"
