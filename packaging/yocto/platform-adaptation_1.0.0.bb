# Builds the library for a television's image. Set in conf/local.conf, or in the configuration of a layer:
#   BBFILES += "PROJECT/packaging/yocto/*.bb"
#   PLATFORM_SDK = "the folder of the platform's headers (include) and libraries (lib)"
#   PLATFORM_ADAPTER = "the adapter's folder, if there is one"
# docs/porting.md describes both folders.
SUMMARY = "Platform adaptation layer of a television's AI picture-quality service"
SECTION = "libs"
LICENSE = "CLOSED"

inherit cmake externalsrc

# The recipe is part of the source tree.
EXTERNALSRC = "${THISDIR}/../.."

PLATFORM_SDK ?= ""
PLATFORM_ADAPTER ?= ""

python () {
    if not d.getVar("PLATFORM_SDK"):
        raise bb.parse.SkipRecipe("set PLATFORM_SDK to the folder of the platform's headers and libraries")
}

DEPENDS = "boost"

EXTRA_OECMAKE = " \
    -DCMAKE_BUILD_TYPE=MinSizeRel \
    -DPLATFORM_SDK=${PLATFORM_SDK} \
    -DPLATFORM_ADAPTER=${PLATFORM_ADAPTER} \
    -DPLATFORM_ADAPTATION_TOOLS=OFF \
    -DBUILD_TESTING=OFF \
"

PACKAGES = "${PN}-dbg ${PN}-dev ${PN}"

# The adapter has no version, because it belongs to this build of the library.
FILES:${PN} = " \
    ${libdir}/libplatform_adaptation.so.* \
    ${libdir}/libplatform_adapter.so \
"
FILES:${PN}-dev = " \
    ${includedir}/platform_adaptation \
    ${libdir}/libplatform_adaptation.so \
    ${libdir}/cmake/platform_adaptation \
    ${libdir}/pkgconfig/platform_adaptation.pc \
"

# What the platform's headers include. The libraries that the runtime needs are found by the build.
RDEPENDS:${PN}-dev += "boost-dev"
# The platform's own libraries are in the image by the SDK, which is no package.
INSANE_SKIP:${PN} += "file-rdeps"
