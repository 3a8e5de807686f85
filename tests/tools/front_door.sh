#!/bin/sh
# front_door.sh REPOSITORY: every command for people tells with --help how it is called, and does no more.
# README.md has all packages that building and testing install.
set -eu
. "$1/tools/setup.sh"
for package in $build_packages $test_packages; do
    grep -q "^|.*[\` ]$package[\` ].*|.*|\$" "$1/README.md" || { echo "README.md has no $package"; exit 1; }
done
cd /
for command in "$1"/run "$1"/test "$1"/.ci/run "$1"/benchmarks/run "$1"/fuzz/run "$1"/tools/* "$1"/tools/checks/*; do
    [ -f "$command" ] && [ -x "$command" ] || continue
    "$command" --help | grep -q "${command##*/}" || { echo "$command --help does not say it"; exit 1; }
done
