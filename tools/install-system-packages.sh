#!/bin/sh
# Makes sure that the Debian packages for the given purposes are installed: build, demo, test, bench, lint, clang, fuzz.
# Installs what is missing when it may, else says what is missing and how to get it.
# With --clang-versions it prints the oldest clang that the library is built with, and the newest that there is.
set -eu

clang_versions() {
  apt-cache search --names-only '^clang-[0-9]+$' | sed 's/^clang-\([0-9]*\) .*/\1/' | sort -n |
    awk '$1 >= 15 { if (!oldest) oldest = $1; newest = $1 } END { print oldest; if (newest != oldest) print newest }'
}
if [ "${1:-}" = --clang-versions ]; then
  clang_versions
  exit
fi

wanted=""
for purpose in "$@"; do
  case $purpose in
    build)
      wanted="$wanted g++ libfmt-dev libhwy-dev liburiparser-dev libcurl4-openssl-dev libxxhash-dev ccache" ;;
    demo) wanted="$wanted nginx-light" ;;
    test) wanted="$wanted libgtest-dev libgmock-dev binutils nginx-light openssl" ;;
    bench) wanted="$wanted libbenchmark-dev nginx-light curl" ;;
    lint) wanted="$wanted clang-format" ;;
    clang) for version in $(clang_versions); do wanted="$wanted clang-$version"; done ;;
    fuzz) wanted="$wanted clang-$(clang_versions | head -n 1)" ;;
    *) echo "unknown purpose $purpose, known are build, demo, test, bench, lint, clang, fuzz" >&2; exit 2 ;;
  esac
done

# The headers and ensurepip belong to the interpreter that is used, which need not be the system's.
python=${PYTHON:-python3}
if ! command -v "$python" >/dev/null; then
  wanted="$wanted python3 python3-venv python3-dev"
else
  "$python" -c 'import ensurepip, venv' 2>/dev/null || wanted="$wanted python3-venv"
  "$python" -c 'import os, sysconfig; open(os.path.join(sysconfig.get_path("include"), "Python.h"))' 2>/dev/null ||
    wanted="$wanted python3-dev"
fi

if ! command -v dpkg-query >/dev/null; then
  echo "not a Debian system: make sure that the equivalents of these packages are installed:$wanted" >&2
  exit 0
fi

missing=""
for package in $wanted; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

if [ "$(id -u)" = 0 ]; then
  as_root=""
elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
  as_root="sudo"
else
  echo "these packages are missing and installing them needs root:$missing" >&2
  echo "run: sudo apt-get install$missing" >&2
  exit 1
fi
echo "installing:$missing"
$as_root apt-get update -qq
DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
