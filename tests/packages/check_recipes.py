"""Compares the Yocto recipe and the Buildroot package with the build that they describe: builds the library for a
platform with the recipe's options, installs it, and traces which packages CMake looks for."""
import argparse
import fnmatch
import json
import pathlib
import re
import shutil
import subprocess
import sys

# The packages that CMake looks for, with their names in Yocto and in Buildroot. Threads are part of the toolchain.
PACKAGES = {"Boost": ("boost", "boost"), "Threads": (None, None)}
LOOKS_FOR_THINGS = {"find_package", "find_dependency", "find_path", "find_library", "find_file", "find_program",
                    "pkg_check_modules", "pkg_search_module"}
# Libraries of the C and C++ runtime, which every image has.
RUNTIME = re.compile(r"(libc|libm|libgcc_s|libstdc\+\+|ld-linux.*)\.so\.\d+")

problems = []


def run(*command, **options):
    done = subprocess.run([str(part) for part in command], text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, **options)
    if done.returncode != 0:
        sys.exit(f"failed: {' '.join(map(str, command))}\n{done.stdout}")
    return done.stdout


def expect_same(what, written, wanted):
    if written != wanted:
        problems.append(f"{what}: is {sorted(written)}, must be {sorted(wanted)}")


def assignments(path, name_pattern):
    """The assignments {name: value} of a file in which a backslash continues a line."""
    text = re.sub(r"\\\n", " ", path.read_text())
    found = re.findall(rf"^({name_pattern})\s*(?:\+|\?)?=\s*(.*?)\s*$", text, re.M)
    return {name: " ".join(value.strip('"').split()) for name, value in found}


def options_of(value, sdk_variable, adapter_variable, args):
    """The recipe's CMake options, with the folders of this test."""
    value = value.replace(sdk_variable, str(args.build / "sdk")).replace(adapter_variable, str(args.build / "adapter"))
    return value.split()


def build_and_install(args, options):
    """Returns the packages that the project's CMake files look for, and the names of the installed files."""
    shutil.rmtree(args.build, ignore_errors=True)
    sdk, adapter, build, root = (args.build / name for name in ("sdk", "adapter", "build", "root"))
    (sdk / "lib").mkdir(parents=True)
    shutil.copytree(args.project / "platform/include", sdk / "include")
    shutil.copy(args.platform_library, sdk / "lib/libtelevision.so")
    adapter.mkdir()
    (adapter / "adapter.cpp").write_text("namespace {}\n")

    trace = args.build / "trace.json"
    output = run("cmake", "-S", args.project, "-B", build, "-G", "Ninja", "-DCMAKE_INSTALL_PREFIX=/usr",
               "-DCMAKE_INSTALL_LIBDIR=lib", "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "--trace-expand",
               "--trace-format=json-v1", f"--trace-redirect={trace}", *options)
    unused = re.findall(r"^    (\w+)$", output.partition("not used by the project:")[2], re.M)
    if unused:
        sys.exit(f"EXTRA_OECMAKE: options that the project does not know: {unused}")
    looked_for = set()
    for line in trace.read_text().splitlines():
        entry = json.loads(line)
        if entry.get("cmd", "").lower() not in LOOKS_FOR_THINGS:
            continue
        file = pathlib.Path(entry["file"])
        # Ignores the search for the SDK's own headers.
        if file.is_relative_to(args.project) and not entry["args"][0] == "found":
            looked_for.add(entry["args"][0])
    run("cmake", "--build", build, "-j2")
    run("cmake", "--install", build, env={"DESTDIR": str(root), "PATH": "/usr/bin:/bin"})
    return looked_for, {"/" + str(path.relative_to(root)) for path in root.rglob("*")
                        if path.is_symlink() or not path.is_dir()}, root


def matches(file, pattern):
    return fnmatch.fnmatchcase(file, pattern) or file.startswith(pattern + "/")


def check_yocto(recipe, name, files, needed):
    variables = assignments(recipe, r"[A-Z_]+(?::\$\{PN\}(?:-\w+)?)?")
    expand = {"${PN}": name, "${libdir}": "/usr/lib", "${includedir}": "/usr/include", "${bindir}": "/usr/bin",
              "${datadir}": "/usr/share"}

    def expanded(value):
        for variable, meaning in expand.items():
            value = value.replace(variable, meaning)
        return value

    expect_same(f"{recipe.name}: DEPENDS", set(variables["DEPENDS"].split()), needed)
    packages = [package for package in expanded(variables["PACKAGES"]).split() if not package.endswith("-dbg")]
    patterns = {package: expanded(variables[f"FILES:${{PN}}{package.removeprefix(name)}"]).split()
                for package in packages}
    for file in sorted(files):
        homes = [package for package in packages if any(matches(file, pattern) for pattern in patterns[package])]
        if len(homes) != 1:
            problems.append(f"{recipe.name}: {file} is in {homes or 'no package'}, must be in one")
        elif re.search(r"/(include|cmake|pkgconfig)/|libplatform_adaptation\.so$", file) and homes != [name + "-dev"]:
            problems.append(f"{recipe.name}: {file} is for developers, but in {homes[0]}")
        elif re.search(r"libplatform_adapt(ation\.so\.|er\.so)", file) and homes != [name]:
            problems.append(f"{recipe.name}: {file} is needed on the television, but in {homes[0]}")
    for package, wanted in patterns.items():
        for pattern in wanted:
            if not any(matches(file, pattern) for file in files):
                problems.append(f"{recipe.name}: nothing is installed for {pattern} of {package}")
    return variables


def check_buildroot(folder, needed):
    makefile = folder / "platform-adaptation.mk"
    variables = assignments(makefile, r"PLATFORM_ADAPTATION_[A-Z_]+")
    expect_same(f"{makefile.name}: DEPENDENCIES", set(variables["PLATFORM_ADAPTATION_DEPENDENCIES"].split()), needed)
    selected = set(re.findall(r"^\s*select BR2_PACKAGE_(\S+)", (folder / "Config.in").read_text(), re.M))
    expect_same("Config.in: select", selected, {package.upper().replace("-", "_") for package in needed})
    return variables


def check_runtime(readelf, root, recipe_variables):
    """Fails if the library needs a library that neither the platform nor the toolchain provides."""
    for library in sorted((root / "usr/lib").glob("*.so*")):
        if library.is_symlink():
            continue
        for needed in re.findall(r"\(NEEDED\).*\[(.+)\]", run(readelf, "-dW", library)):
            ours = (root / "usr/lib" / needed).exists() or needed.startswith("libsimulated_television.so")
            if not ours and not RUNTIME.fullmatch(needed):
                problems.append(f"{library.name} needs {needed}, which no package of the recipes brings")
    config = next((root / "usr/lib/cmake").rglob("platform_adaptation-config.cmake")).read_text()
    wanted = {PACKAGES[name][0] + "-dev" for name in re.findall(r"find_dependency\((\w+)", config) if PACKAGES[name][0]}
    expect_same("recipe: RDEPENDS of -dev", set(recipe_variables["RDEPENDS:${PN}-dev"].split()), wanted)


def main():
    parser = argparse.ArgumentParser()
    for name in ("project", "build", "platform-library"):
        parser.add_argument("--" + name, type=pathlib.Path, required=True)
    parser.add_argument("--version", required=True)
    parser.add_argument("--readelf", required=True)
    args = parser.parse_args()

    recipe, = (args.project / "packaging/yocto").glob("*.bb")
    name, _, version = recipe.stem.partition("_")
    buildroot = args.project / "packaging/buildroot/platform-adaptation"
    yocto_options = options_of(assignments(recipe, "EXTRA_OECMAKE")["EXTRA_OECMAKE"],
                               "${PLATFORM_SDK}", "${PLATFORM_ADAPTER}", args)
    looked_for, files, root = build_and_install(args, yocto_options)
    unknown = looked_for - PACKAGES.keys()
    if unknown:
        problems.append(f"CMake looks for {sorted(unknown)}: name their packages in {pathlib.Path(__file__).name}")
    needed = [{PACKAGES[thing][i] for thing in looked_for & PACKAGES.keys()} - {None} for i in (0, 1)]

    recipe_variables = check_yocto(recipe, name, files, needed[0])
    buildroot_variables = check_buildroot(buildroot, needed[1])
    check_runtime(args.readelf, root, recipe_variables)
    expect_same(f"{recipe.name}: version", {version}, {args.version})
    expect_same("platform-adaptation.mk: VERSION", {buildroot_variables["PLATFORM_ADAPTATION_VERSION"]}, {args.version})
    expect_same("platform-adaptation.mk: CONF_OPTS",
                set(options_of(buildroot_variables["PLATFORM_ADAPTATION_CONF_OPTS"],
                               "$(call qstrip,$(BR2_PACKAGE_PLATFORM_ADAPTATION_SDK))",
                               "$(call qstrip,$(BR2_PACKAGE_PLATFORM_ADAPTATION_ADAPTER))", args)),
                set(yocto_options))
    print("\n".join(problems) or f"{len(files)} files, dependencies {sorted(looked_for)}")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
