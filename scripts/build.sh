# Functions for ./run, ./test and the scripts: they install Debian packages and build a preset without output. Source this
# file in the project's folder.

# The packages to build and run the project on the building machine.
BUILD_PACKAGES=(
    g++ cmake ninja-build ccache pkg-config
    libboost-dev                # boost::shared_ptr, which the platform's interfaces take
    libtomlplusplus-dev         # the catalogue of keys, scenarios
    libcli11-dev                # command lines
    nlohmann-json3-dev          # the tools' JSON
    libsdbus-c++-dev dbus-daemon  # the television as a separate process
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
    systemd                     # busctl
)

# Packages to build for the television's processor, and to run the result in an emulator.
ARMHF_PACKAGES=(crossbuild-essential-armhf qemu-user)

# Packages only for the tests with the label slow.
SLOW_TEST_PACKAGES=(
    doxygen                     # the pages of docs/
    chromium chromium-driver python3-selenium  # tests of the television's page
    clang dpkg-dev lintian      # tests of the packages: a second compiler, their dependencies, Debian's policy
    libclang-rt-14-dev          # fuzzing
)

# Additional packages for scripts/coverage.
COVERAGE_PACKAGES=(gcovr)

# Additional packages for scripts/benchmark, such as the libraries that it compares.
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

# quietly COMMAND...: runs COMMAND, and prints its output only if it fails.
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

# timed STEP COMMAND...: prints STEP and its previous duration, and runs COMMAND.
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
