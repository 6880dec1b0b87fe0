# Shared by the scripts, which source it.
# shellcheck shell=bash
set -euo pipefail
unset CDPATH # where cd would look for a relative folder first
cd "$(dirname "${BASH_SOURCE[0]}")/.."

if ! mkdir -p build 2>/dev/null || [ ! -w build ]; then
    echo "$0: this user can't write to $PWD/build, where scripts put all their output" >&2
    exit 1
fi

# Where ccache is there it remembers compilations, those of other checkouts, too.
if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
    export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
fi

build_packages="g++ cmake ninja-build pkg-config libiodbc2-dev libcli11-dev libfmt-dev libffi-dev
    libcsv-dev libedit-dev libutf8proc-dev libgtest-dev libbenchmark-dev
    nlohmann-json3-dev"

step() {
    printf '== %s\n' "$*" >&2
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# Prints which of the packages named are missing.
missing_packages() {
    local package
    for package in "$@"; do
        if ! dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
            echo "$package"
        fi
    done
}

# Installs the missing ones of the packages named; silent if there are none.
need_packages() {
    local missing
    mapfile -t missing < <(missing_packages "$@")
    if [ ${#missing[@]} -eq 0 ]; then
        return
    fi
    step "Installing ${missing[*]}"
    as_root apt-get update -q >&2
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -q -y --no-install-recommends "${missing[@]}" >&2
}

# Configures a preset, once; the build itself notices later changes. ORVELGW_WERROR=ON in the
# environment makes warnings errors.
configure() {
    local preset=$1 werror=${ORVELGW_WERROR-OFF} compiler=
    case "$preset" in
        clang) compiler=clang ;;
        fuzz) compiler="clang libclang-rt-dev" ;;
    esac
    # shellcheck disable=SC2086
    need_packages $build_packages $compiler
    if [ ! -f "build/$preset/build.ninja" ] ||
        ! grep -qx "ORVELGW_WERROR:BOOL=$werror" "build/$preset/CMakeCache.txt"; then
        step "Configuring build/$preset"
        cmake --preset "$preset" -DORVELGW_WERROR="$werror" >&2
    fi
}

# Configures and builds: preset, then targets.
build() {
    local preset=$1
    shift
    configure "$preset"
    local wanted=()
    [ $# -eq 0 ] || wanted=(--target "$@")
    # A dry run shows whether there is anything to do.
    if ! ninja -C "build/$preset" -n "$@" | grep -q 'no work to do'; then
        step "Building build/$preset"
        cmake --build --preset "$preset" "${wanted[@]}" >&2
    fi
}

# Runs the tests of a preset that ctest's options select, and reports what they skip.
run_tests() {
    local preset=$1
    shift
    ctest --preset "$preset" --progress --parallel "$(nproc)" "$@"
    sed -n 's/^left out: /   &/p' "build/$preset/Testing/Temporary/LastTest.log" | sort -u >&2
}
