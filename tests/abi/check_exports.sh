#!/bin/sh
# check_exports.sh LIBVORN LIBVORNPLATFORM HAVE_LOKI: what the two libraries show each other and clients.
# Renew the list of what clients may link against, for a change that is meant, with
#   tests/abi/check_exports.sh --list build/release/lib/libvorn.so >tests/abi/exports.txt
set -eu
export LC_ALL=C
defined() { nm -D --defined-only "$1" | awk '{print $3}' | sed 's/@.*//' | sort -u; }
undefined() { nm -D --undefined-only "$1" | awk '{print $2}' | sed 's/@.*//' | sort -u; }
# Loki's, and inline functions that a compiler may leave out, are not ours to promise. Of the weak
# symbols only the explicit instances of the array are always there.
list() {
    nm -D --defined-only "$1" | sed 's/@.*//' | awk '
        $3 !~ /Loki|kMaxCapacity/ && ($2 !~ /[Wu]/ || $3 ~ /^_ZNK?6VectorI[imN]/) {print $3}' |
        c++filt | sort -u
}
[ "$1" != --list ] || { list "$2"; exit; }

expect() {
    [ "$2" = "$3" ] || { echo "$1: expected '$2', found '$3'"; exit 1; }
}
scratch=$(mktemp -d)
trap 'rm -r "$scratch"' EXIT
defined "$2" >"$scratch/platform"
undefined "$1" >"$scratch/imports"
expect "exports of the platform library" _Z2OSv "$(cat "$scratch/platform")"
expect "imports from the platform library" _Z2OSv \
    "$(comm -12 "$scratch/platform" "$scratch/imports")"
expect "exported std:: instantiations" "" "$(defined "$1" | grep -E '^_ZN?K?St' || true)"
list "$1" | diff "$(dirname "$0")/exports.txt" - || { echo "The exported symbols changed."; exit 1; }
if [ "$3" = 1 ] && defined "$1" | grep -q '^_ZN4Loki'; then
    for symbol in _ZN4Loki17SmallObjAllocator8AllocateEmb _ZN4Loki7Private8AtExitFnEv \
        _ZN4Loki7Private13pTrackerArrayB5cxx11E _ZN4Loki14FixedAllocator19MinObjectsPerChunk_E; do
        expect "export of Loki" $symbol "$(defined "$1" | grep -x $symbol)"
    done
fi
