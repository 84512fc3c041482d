#!/usr/bin/env bash
# check.sh BUILD.SH make|files|dependencies|cmake|pkg_config|headers|programs|python|unit|lintian|together: builds the Debian packages
# of a build, and checks them like a user who installs them. BUILD.SH is written by CMake and describes the build.
set -euo pipefail
source "$1"
packages=$work/packages root=$work/root
version=$(dpkg-parsechangelog -l "$source_dir/packaging/debian/changelog" -S Version)
IFS=';' read -ra emulate <<<"$emulator"
read -ra compilers <<<"$compilers"
standards=(11 14 17 20)
bad=0

complain() {
    echo "$*" >&2
    bad=1
}

field() {  # PACKAGE FIELD
    dpkg-deb -f "$1" "$2"
}

client() {
    env -u LD_LIBRARY_PATH AIPQ_TV=embedded AIPQ_TV_VIDEO=off "$@"
}

run_consumer() {  # COMPILER PROGRAM
    local said
    said=$(client "${emulate[@]}" "$2") || complain "The consumer that ${1##*/} built fails with status $?."
    echo "${1##*/}: $said"
}

make_packages() {  # DIRECTORY [BUILD]
    rm -rf "$1"
    "$cpack" --config "${2-$build_dir}/CPackConfig.cmake" -B "$1" >"$work/cpack.log" 2>&1 ||
        { cat "$work/cpack.log"; exit 1; }
    rm -rf "$1/_CPack_Packages"
}

check_make() {
    make_packages "$packages"
    # Builds the packages again with another umask and in another second, because packages date files to the second.
    sleep 1
    (umask 077; make_packages "$work/again")
    diff -r "$packages" "$work/again" || complain "The packages differ from those of the same build, made again."
    rm -rf "$work/again" "$root"
    local package
    for package in "$packages"/*.deb; do
        dpkg-deb -x "$package" "$root"
        echo "${package##*/}"
    done
}

files_of() {  # PACKAGE
    dpkg-deb --fsys-tarfile "$1" | tar -t | sed -n 's,^\./,/,;/[^/]$/p'
}

check_files() {
    local package packaged=$work/packaged installed=$work/installed
    for package in "$packages"/*.deb; do
        [[ $(files_of "$package") ]] || complain "${package##*/} is empty."
        ! dpkg-deb -c "$package" | grep -v ' root/root ' || complain "${package##*/} has files that are not root's."
    done
    for package in "$packages"/*.deb; do files_of "$package"; done | sort >"$packaged"
    [[ ! $(uniq -d "$packaged") ]] || complain "In more than one package: $(uniq -d "$packaged" | tr '\n' ' ')"
    local file compressed=0
    while IFS= read -r file; do
        case $file in
            */man/*.gz | */changelog.Debian.gz)
                compressed=$((compressed + 1))
                gunzip <"$root$file" | gzip -9n | cmp - "$root$file" || complain "$file is not compressed with gzip -9n." ;;
            */man/* | */changelog*) complain "$file is not compressed." ;;
        esac
    done <"$packaged"
    for package in "$packages"/*.deb; do
        file=/usr/share/doc/$(field "$package" Package)/changelog.Debian.gz
        files_of "$package" | grep -qxF "$file" && gunzip <"$root$file" | cmp - "$source_dir/packaging/debian/changelog" ||
            complain "${package##*/} has no changelog, or another one."
    done
    [[ $compressed -gt 0 ]]

    rm -rf "$work/stage"
    DESTDIR=$work/stage "$cmake" --install "$build_dir" --prefix /usr >"$work/install.log"
    (cd "$work/stage" && find . ! -type d | sed 's,^\.,,') | sort >"$installed"
    diff <(grep -v '/changelog\.Debian\.gz$' "$packaged" |
        sed '/\/man\//s/\.gz$//; s,/zsh/vendor-completions/,/zsh/site-functions/,' | sort) "$installed" >"$work/difference" ||
        complain "The packages (<) do not hold what is installed (>):"$'\n'"$(cat "$work/difference")"
    rm -rf "$work/stage"

    local triplet
    for package in "$packages"/*.deb; do
        triplet=$(dpkg-architecture -a "$(field "$package" Architecture | sed 's/^all$/amd64/')" -q DEB_HOST_MULTIARCH)
        ! files_of "$package" | grep '^/usr/lib/' | grep -Ev "^/usr/lib/($triplet|systemd/user|python3/dist-packages)/" ||
            complain "${package##*/} has files in /usr/lib that are not in the folder of its architecture."
    done

    local machine_path
    for machine_path in "$source_dir" "$build_dir"; do
        ! grep -raFl "$machine_path" "$root" || complain "These name a folder of the building machine, $machine_path."
        for package in "$packages"/*.deb; do
            ! dpkg-deb -I "$package" | grep -F "$machine_path" || complain "${package##*/} names $machine_path."
        done
    done
    echo "$(wc -l <"$installed") files in $(ls "$packages" | wc -l) packages"
}

# The Debian package of a system library. For a library of the cross compiler, it is the package of the target.
owner() {  # SONAME
    local path
    if [[ $toolchain_file ]]; then
        path=/usr/arm-linux-gnueabihf/lib/$1
    else
        path=$(ldconfig -p | awk -v name="$1" '$1 == name && /x86-64/ {print $NF; exit}')
    fi
    local found
    found=$(dpkg-query -S "$path" 2>/dev/null || dpkg-query -S "$(realpath "$path")" 2>/dev/null ||
        dpkg-query -S "${path#/usr}" 2>/dev/null || dpkg-query -S "/usr$path" 2>/dev/null) || return 0
    found=${found%%:*}
    echo "${found%-armhf-cross}"
}

depends_on() {  # PACKAGE NAME
    field "$1" Depends | tr ',|' '\n\n' | sed 's/^ *//; s/[ (].*//' | grep -qxF -- "$2"
}

check_dependencies() {
    declare -A home  # the package of each of the project's libraries
    local package file soname needed name seen=0
    for package in "$packages"/*.deb; do
        name=$(field "$package" Package)
        for soname in $(files_of "$package" | grep -oP "^$library_folder/\Klib[^/]*\.so\.\d+$"); do
            home[$soname]=$name
            # Packages of programs that link the library get their dependency from this file.
            dpkg-deb -I "$package" shlibs 2>/dev/null | grep -qxF "${soname%%.so.*} ${soname##*.} $name (>= $version)" ||
                complain "$name does not say that it has $soname."
        done
        for file in Maintainer Section Description; do
            [[ $(field "$package" $file) ]] || complain "$name has no $file."
        done
        [[ $(field "$package" Version) == "$version" ]] || complain "$name is not of the changelog's version, $version."
        # A program may be used from any architecture; a library is linked only by programs of its own architecture.
        [[ $(field "$package" Multi-Arch) == $([[ $name == lib* ]] && echo same || echo foreign) ]] ||
            complain "$name has the wrong Multi-Arch: $(field "$package" Multi-Arch)."
        # The packages of the project must depend on exactly their own version.
        for needed in $(field "$package" Depends | tr ',' '\n' | grep -oP '^ *\K(libplatform-adaptation|libsimulated|aipq)\S*'); do
            field "$package" Depends | grep -qF "$needed (= $version)" || complain "$name takes any version of $needed."
        done
    done
    for package in "$packages"/*.deb; do
        name=$(field "$package" Package)
        for file in $(files_of "$package"); do
            [[ -f $root$file && ! -L $root$file ]] || continue
            [[ $(head -c 4 "$root$file" | tr -d '\0') == $'\x7fELF' ]] || continue
            for soname in $("$readelf" -dW "$root$file" | grep -oP 'NEEDED.*\[\K[^]]+'); do
                seen=$((seen + 1))
                needed=${home[$soname]-$(owner "$soname")}
                [[ $needed ]] || { complain "Nobody knows whose $soname is."; continue; }
                [[ $needed == "$name" ]] || depends_on "$package" "$needed" ||
                    complain "$name has $file, which needs $soname, and does not depend on $needed."
            done
        done
    done
    # The libraries and aipqctl must not depend on the television's programs, their bus or their decoders.
    for package in "$packages"/{lib,aipqctl_}*.deb; do
        [[ -e $package ]] || continue
        ! field "$package" Depends | grep -E 'aipq-television|dbus-daemon|gstreamer' ||
            complain "${package##*/} depends on the simulated television's programs, or on what only they need."
    done
    [[ ! $(for package in "$packages"/*.deb; do field "$package" Description | head -n 1; done | sort | uniq -d) ]] ||
        complain "Two packages have the same short description."
    # The package with the .so symlink must depend on the package with its target.
    for package in "$packages"/*-dev_*.deb; do
        for soname in $(files_of "$package" | grep -oP "^$library_folder/\K[^/]*\.so$"); do
            depends_on "$package" "${home[$(readlink "$root$library_folder/$soname")]}" || complain "$package: $soname leads nowhere."
        done
        depends_on "$package" libboost-dev || complain "$package does not depend on Boost, which the headers include."
    done
    echo "$seen libraries are needed"
    [[ $seen -gt 0 ]]
}

check_cmake() {
    local compiler standard build
    for compiler in "${compilers[@]}"; do
        build=$work/consumer-${compiler##*/}
        rm -rf "$build"
        # The headers are not included as system headers, so that the compiler prints warnings about them.
        "$cmake" -S "$source_dir/tests/packages/consumer" -B "$build" -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" \
            ${toolchain_file:+-DCMAKE_TOOLCHAIN_FILE="$toolchain_file" -DCMAKE_FIND_ROOT_PATH="$root/usr;/usr/arm-linux-gnueabihf"} \
            -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror -Wno-psabi" \
            -DCMAKE_NO_SYSTEM_FROM_IMPORTED=ON -DCMAKE_CXX_COMPILER_LAUNCHER= >"$work/configure.log"
        grep -q "^platform_adaptation_DIR:PATH=$root/usr/" "$build/CMakeCache.txt" ||
            complain "CMake found another platform_adaptation than the packages'."
        "$cmake" --build "$build" -j2 >"$work/build.log" || { cat "$work/build.log"; exit 1; }
        client "${emulate[@]}" "$build/dimmer_test" || complain "The test that ${compiler##*/} built fails."
        for standard in "${standards[@]}"; do
            run_consumer "$compiler" "$build/consumer_$standard"
        done
    done
}

flags_of_package() {
    PKG_CONFIG_LIBDIR=$root$library_folder/pkgconfig pkg-config "$@" platform_adaptation
}

check_pkg_config() {
    local compiler standard flags program=$work/consumer
    flags=$(flags_of_package --cflags --libs)
    for compiler in "${compilers[@]}"; do
        for standard in "${standards[@]}"; do
            # shellcheck disable=SC2086
            "$compiler" -std="c++$standard" -pedantic -Wall -Wextra -Werror -Wno-psabi \
                "$source_dir/tests/packages/consumer/consumer.cpp" -o "$program" $flags \
                -Wl,-rpath="$root$library_folder" -pthread
            run_consumer "$compiler" "$program"
        done
    done
}

check_headers() {
    local compiler header flags standard count=0
    flags="$(flags_of_package --cflags) -I$root/usr/include/platform_adaptation/television_control"
    for header in $(cd "$root/usr/include" && find . -name '*.h' | sed 's,^\./,,'); do
        count=$((count + 1))
        case $header in
            platform_adaptation/television_control/*) standard=17 ;;
            *) standard=11 ;;
        esac
        for compiler in "${compilers[@]}"; do
            # shellcheck disable=SC2086
            sed -E 's,platform_adaptation/(platform|television_control)/,,; s/.*/#include "&"/' <<<"$header" |
                "$compiler" -std=c++$standard -pedantic -Wall -Wextra -Werror -Wno-psabi -fsyntax-only -x c++ - $flags ||
                complain "$compiler: $header does not compile alone."
        done
    done
    echo "$count headers"
    [[ $count -gt 0 ]]
}

check_programs() {
    local said file
    said=$(client "$root/usr/bin/aipqctl" get brightness)
    [[ $said == 50 ]] || complain "aipqctl says '$said' of the brightness, not 50."
    client "$root/usr/bin/aipq-television" --help >/dev/null
    # Debian's shells search these folders for completions and manual pages.
    for file in aipqctl aipq-television; do
        [[ -f $root/usr/share/bash-completion/completions/$file && -f $root/usr/share/zsh/vendor-completions/_$file ]] ||
            complain "$file has no completion for bash and zsh."
    done
    client "$root/usr/libexec/platform_adaptation/aipq-video-pipeline" --help >/dev/null
}

# Runs the Python example with Debian's Python and the installed packages.
check_python() {
    local said
    said=$(env -u LD_LIBRARY_PATH PATH="$root/usr/bin:$build_dir/bin:$PATH" PYTHONPATH="$root/usr/lib/python3/dist-packages" \
        /usr/bin/python3 -B -m pytest -p no:cacheprovider "$source_dir/examples/test_picture_service.py" 2>&1) ||
        complain "The example of a test in Python fails: $said"
    [[ $said == *"plugins: "*"aipq-television-${version%-*}"* ]] || complain "pytest does not know the plugin: $said"
}

check_unit() {
    local unit=$root/usr/lib/systemd/user/aipq-television.service
    mkdir -p "$work/unit"
    # systemd looks for the program in /usr/bin.
    sed "s,^ExecStart=,&$root/usr/bin/," "$unit" >"$work/unit/${unit##*/}"
    local said
    said=$(XDG_RUNTIME_DIR=$work/unit systemd-analyze verify --user --man=no "$work/unit/${unit##*/}" 2>&1) ||
        complain "systemd does not accept ${unit##*/}."
    [[ ! $said ]] || complain "$said"
    # The user decides whether it starts at login.
    ! find "$root" -path '*.wants/*' | grep . || complain "A unit is enabled."
}

check_lintian() {
    # Ignored tags: the project has no licence yet. A symbols file is for C; for C++, the shlibs file has the same
    # information. A text that the compiler splits in the code is not a spelling error.
    local said
    said=$(lintian --allow-root --display-info --pedantic --fail-on none \
        --suppress-tags no-copyright-file,no-symbols-control-file,spelling-error-in-binary "$packages"/*.deb 2>&1) ||
        complain "lintian fails."
    [[ ! $said ]] || complain "$said"
}

# dpkg refuses to overwrite another package's file, and the same package's file of another architecture if it differs.
check_together() {
    local admin=$work/together/var/lib/dpkg
    rm -rf "$work/together"
    mkdir -p "$admin/info" "$admin/updates" "$admin/triggers"
    touch "$admin/status"
    make_packages "$work/of_host" "$host_build"
    local dpkg=(dpkg --root="$work/together" --log=/dev/null --force-not-root,depends,bad-path)
    "${dpkg[@]}" --add-architecture armhf
    "${dpkg[@]}" --install "$packages"/*.deb "$work/of_host"/*_amd64.deb >"$work/dpkg.log" 2>&1 ||
        { complain "The packages cannot be installed together."; grep -A 2 '^dpkg: error' "$work/dpkg.log"; }
    local name
    for name in libplatform-adaptation1 libsimulated-television1 libplatform-adaptation-dev; do
        [[ $(dpkg-query --admindir="$admin" -W -f '${Architecture} ${db:Status-Status} ' "$name") == \
            "amd64 installed armhf installed " ]] ||
            complain "$name is not installed for both architectures."
    done
}

"check_$2"
exit $bad
