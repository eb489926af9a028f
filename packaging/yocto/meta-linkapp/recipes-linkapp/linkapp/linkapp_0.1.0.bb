SUMMARY = "Links head-unit applications with their counterparts on a phone"
DESCRIPTION = "A shared library for a car's head unit, the reference framework that it runs on, its Bluetooth library on \
BlueZ, and a command-line tool with a simulated phone."
HOMEPAGE = "https://linkapp.example"
SECTION = "libs"
LICENSE = "CLOSED"

# The tree that this layer lies in. An integrator names his own repository instead: SRC_URI = "git://...;protocol=https",
# with SRCREV, and S = "${WORKDIR}/git".
LINKAPP_TREE ?= "${@os.path.realpath(os.path.join(d.getVar('THISDIR'), '../../../../..'))}"
inherit externalsrc
EXTERNALSRC ?= "${LINKAPP_TREE}"
EXTERNALSRC_BUILD ?= "${WORKDIR}/build"
SRC_URI = "file://run-ptest"

DEPENDS = "systemd cli11 nlohmann-json libedit libarchive ncurses"
DEPENDS:append = "${@bb.utils.contains('PTEST_ENABLED', '1', ' googletest', '', d)}"

inherit cmake pkgconfig systemd useradd ptest features_check
REQUIRED_DISTRO_FEATURES = "systemd"

PACKAGECONFIG ??= "bluez"
PACKAGECONFIG[bluez] = "-DLINKAPP_BLUEZ=ON,-DLINKAPP_BLUEZ=OFF"

EXTRA_OECMAKE = "-DCMAKE_BUILD_TYPE=Release -DLINKAPP_BUILD_BENCHMARKS=OFF \
    -DLINKAPP_BUILD_TESTS=${@bb.utils.contains('PTEST_ENABLED', '1', 'ON', 'OFF', d)} \
    -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST -DCMAKE_SKIP_BUILD_RPATH=ON"

# Programs that test the product and the framework from inside, and on real processes.
LINKAPP_TESTS = "unit/framework/unit_framework unit/framework/unit_reference unit/reference/unit_reference_inside \
    unit/LinkAppCommon/unit_linkapp conformance/conformance_reference process/process_tests"

do_install_ptest() {
    for test in ${LINKAPP_TESTS}; do
        install -D -m 0755 ${B}/tests/$test ${D}${PTEST_PATH}/$(basename $test)
    done
}

# Whoever shares the channel is in the group; the device side has a user of its own.
USERADD_PACKAGES = "${PN}-common"
GROUPADD_PARAM:${PN}-common = "--system linkapp"
USERADD_PARAM:${PN}-common = "--system --no-create-home --home-dir /var/lib/linkapp --shell /sbin/nologin \
    --gid linkapp linkapp-device"

SYSTEMD_PACKAGES = "${PN}-common"
SYSTEMD_SERVICE:${PN}-common = "linkapp-device-side.service"
SYSTEMD_AUTO_ENABLE = "disable"

PACKAGES =+ "libvqframework libvqbluetooth ${PN}-tools ${PN}-common"
FILES:libvqframework = "${libdir}/libVQFramework.so.*"
FILES:libvqbluetooth = "${libdir}/libVQBluetooth.so.*"
FILES:${PN} = "${libdir}/libLinkAppCommon.so.*"
FILES:${PN}-tools = "${bindir}/linkapp ${bindir}/linkapp-bluez-sim"
FILES:${PN}-common = "${prefix}/lib/sysusers.d ${prefix}/lib/tmpfiles.d ${systemd_system_unitdir} \
    ${datadir}/dbus-1/system.d ${datadir}/linkapp"
FILES:${PN}-dev += "${includedir}/linkapp ${libdir}/cmake/LinkAppCommon ${libdir}/pkgconfig ${libdir}/lib*.so"

RRECOMMENDS:libvqframework = "${PN}-common"
RRECOMMENDS:libvqbluetooth = "${PN}-common bluez5"
RDEPENDS:${PN}-ptest += "${PN} libvqframework libvqbluetooth"
