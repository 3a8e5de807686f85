# Brings what building needs; sourced by the front-door commands before they go to the repository's
# root. Packages come from apt where it is there and we may use it; otherwise the command for them is
# shown. What cannot be had is left to the configure step, which says what it does without.

# --help shows the comment that a command begins with.
if [ "${1:-}" = --help ]; then
    sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
    exit
fi

project_version() {
    sed -n 's/^project(Vorn VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt
}

missing_packages() {
    for package in "$@"; do
        dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q 'ok installed' ||
            printf '%s\n' "$package"
    done | sort -u | paste -sd ' '
}

# install PACKAGE...: installs those that are not there yet. Who may not is shown one line for all that
# building and testing need.
install() {
    command -v apt-get >/dev/null || return 0
    missing=$(missing_packages "$@")
    [ -n "$missing" ] || return 0
    if [ "$(id -u)" != 0 ]; then
        echo "Not installed: apt-get install $(missing_packages $build_packages $test_packages "$@")"
        return 0
    fi
    echo "Installing $missing"
    mkdir -p build
    {
        apt-get update && DEBIAN_FRONTEND=noninteractive \
            apt-get install -y --no-install-recommends $missing
    } >build/install.log 2>&1 || echo "Not all could be installed; see build/install.log"
}

# fetch_loki: Loki's source package below build/loki, with package lists of its own, so that the
# machine's apt set-up stays as it is.
fetch_loki() {
    [ ! -f build/loki/source/src/SmallObj.cpp ] && command -v apt-get >/dev/null || return 0
    mkdir -p build/loki/lists/partial
    (
        cd build/loki
        apt-get indextargets --format 'deb-src $(REPO_URI) $(RELEASE) $(COMPONENT)' \
            'Created-By: Packages' | sort -u >sources.list
        rm -rf source
        set -- -o "Dir::Etc::SourceList=$PWD/sources.list" -o Dir::Etc::SourceParts=/dev/null \
            -o "Dir::State::Lists=$PWD/lists" -o APT::Sandbox::User=root
        apt-get "$@" update && apt-get "$@" source --download-only libloki-dev &&
            dpkg-source -x libloki_*.dsc source
    ) >build/loki.log 2>&1 || echo "Loki's source package could not be had; see build/loki.log"
}

# build FOLDER CMAKE-OPTION...: configures and builds below build/, quietly unless it fails.
build() {
    build_folder=build/$1
    shift
    for command in cmake ninja; do
        command -v $command >/dev/null || {
            echo "$command is needed, and not installed" >&2
            return 1
        }
    done
    mkdir -p "$build_folder"
    if ! {
        cmake -S . -B "$build_folder" -G Ninja \
            -DVORN_LOKI_SOURCE_DIR="$PWD/build/loki/source/src" "$@" &&
            cmake --build "$build_folder"
    } >"$build_folder/build.log" 2>&1; then
        tail -n 40 "$build_folder/build.log"
        echo "The build failed; see $build_folder/build.log"
        return 1
    fi
    grep -E '^-- .*(mimalloc|Loki|CLI11|GoogleTest|Google Benchmark)' "$build_folder/build.log" || true
}

# run_tests FOLDER CMAKE-OPTION...: builds and runs all tests.
run_tests() {
    tests_folder=$1
    build "$@" || return 1
    if grep -q '^-- GoogleTest not found' "build/$tests_folder/build.log"; then return 1; fi
    ctest --test-dir "build/$tests_folder" --output-on-failure -j "$(getconf _NPROCESSORS_ONLN)"
}

# check NAME [AMOUNT]: runs one of tools/check quietly, and prints what it found and the time it took.
check() {
    check_log=build/checks/$1.log
    check_began=$(date +%s)
    mkdir -p build/checks
    if ! tools/check "$@" >"$check_log" 2>&1; then
        tail -n 60 "$check_log"
        echo "$1 failed; see $check_log"
        return 1
    fi
    check_seconds=$(($(date +%s) - check_began))
    printf '%-11s %2d:%02d  %s\n' "$1:" $((check_seconds / 60)) $((check_seconds % 60)) "$(tail -n 1 "$check_log")"
}

quick_checks="bare asan tsan valgrind coverage cppcheck tidy format packages reference hosts real-files models"
build_packages="g++ cmake ninja-build libicu-dev libmimalloc-dev libloki-dev libcli11-dev help2man dpkg-dev ca-certificates"
test_packages="libgtest-dev libbenchmark-dev python3 binutils gdb lldb pkg-config acl libjemalloc2 libtcmalloc-minimal4"
peer_packages="pkg-config qtbase5-dev libglib2.0-dev libabsl-dev libboost-dev libinih-dev libsimpleini-dev zlib1g-dev"
