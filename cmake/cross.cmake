# Cross builds for gateways (scripts/cross.sh): Debian's cross compiler for
# PEMO_CROSS_TRIPLET, and the target's libraries unpacked in PEMO_CROSS_SYSROOT
# (pkg-config is pointed there by the script's PKG_CONFIG_LIBDIR and _SYSROOT_DIR).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${PEMO_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${PEMO_CROSS_TRIPLET}-g++)
set(CMAKE_FIND_ROOT_PATH ${PEMO_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# The unpacked libraries' own dependencies resolve inside the sysroot.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${PEMO_CROSS_SYSROOT}/usr/lib/${PEMO_CROSS_TRIPLET}")
# Tests run under qemu-user, with the cross C library and the unpacked ones.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/cross-run.sh ${PEMO_CROSS_QEMU}
    ${PEMO_CROSS_TRIPLET} ${PEMO_CROSS_SYSROOT})
