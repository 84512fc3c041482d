# What ./run and ./test share: Debian packages, and quiet builds of a preset. To be sourced in the project's folder.

# What builds and runs everything on the building machine.
BUILD_PACKAGES=(
    g++ cmake ninja-build ccache pkg-config
    libboost-dev                # boost::shared_ptr, which the platform's interfaces take
    libtomlplusplus-dev         # the catalogue of keys, scenarios
    libcli11-dev                # command lines
    nlohmann-json3-dev          # the tools' JSON
    libsdbus-c++-dev dbus-daemon  # the television as a process of its own
    libutfcpp-dev               # texts that are valid, and safe to print
    libpng-dev                  # saved pictures
    libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev  # the video pipeline's decoder
    gstreamer1.0-plugins-base gstreamer1.0-plugins-good  # films: MP4, Matroska, WebM, AVI; VP8, VP9; deinterlacing
    gstreamer1.0-plugins-bad    # films: MPEG-TS, AV1, and the parsers of H.264, HEVC and MPEG-2
    gstreamer1.0-libav          # films: H.264, HEVC, MPEG-2 and most others
    libcpp-httplib-dev libturbojpeg0-dev  # the page that shows the simulated television; the service's report
    googletest                  # tests, built from source
)

# Further packages for the tests, except the slow ones and those on armhf.
TEST_PACKAGES=(
    python3                     # the ABI, the footprint and the documentation
    valgrind                    # counts the hot operations' instructions
    python3-pytest python3-jeepney mypy  # tests in Python
    python3-jsonschema libxml2-utils mandoc  # check the tools' JSON, XML and manual
    gstreamer1.0-tools ffmpeg   # make the films that the tests play
    clang-format clang-tidy     # check the sources
    systemd                     # busctl, with which people use the television
)

# Build for the television's processor, and run the result.
ARMHF_PACKAGES=(crossbuild-essential-armhf qemu-user)

# Only for the tests marked slow.
SLOW_TEST_PACKAGES=(
    doxygen                     # the pages of docs/
    chromium chromium-driver python3-selenium  # looks at the television's page
    clang dpkg-dev lintian      # consumers of the packages, what the packages depend on, and Debian's rules
    libclang-rt-14-dev          # fuzzing
)

# What scripts/coverage needs besides.
COVERAGE_PACKAGES=(gcovr)

# What only scripts/benchmark needs: what the library is measured beside.
BENCHMARK_PACKAGES=(
    libbenchmark-dev            # measures
    libboost-dev libsigc++-2.0-dev libglib2.0-dev qt6-base-dev  # the peers: signals, properties, variant values
    valgrind                    # counts instructions
    gnuplot-nox                 # the plot
)

install_packages() {
    local package missing=()
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] || missing+=("$package")
    done
    [[ ${#missing[@]} == 0 ]] && return
    echo "Installing ${missing[*]}"
    local as_root=()
    if [[ $EUID != 0 ]]; then
        command -v sudo >/dev/null || { echo "These packages are missing; install them as root." >&2; return 1; }
        as_root=(sudo)
    fi
    quietly "${as_root[@]}" apt-get update
    quietly "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
}

# Runs a command and shows what it printed only if it fails.
quietly() {
    local output
    output=$(mktemp)
    if "$@" >"$output" 2>&1 </dev/null; then
        rm -f "$output"
    else
        local status=$?
        cat "$output" >&2
        rm -f "$output"
        echo "failed: $*" >&2
        return $status
    fi
}

# timed STEP COMMAND...: prints STEP and how long it took the last time, and runs COMMAND.
timed() {
    local step=$1 times=build/times/${1//[ \/]/_} start=$SECONDS status=0 last=
    shift
    [[ -f $times ]] && last=" (last time: $(<"$times"))"
    echo "$step$last"
    "$@" || status=$?
    mkdir -p build/times
    echo "$(((SECONDS - start) / 60)) min $(((SECONDS - start) % 60)) s" >"$times"
    return $status
}

# build PRESET [TARGET...]
build() {
    timed "Building $1${2:+, }${*:2}" build_quietly "$@"
}

build_quietly() {
    quietly cmake --preset "$1" && quietly cmake --build --preset "$1" ${2:+--target "${@:2}"}
}
