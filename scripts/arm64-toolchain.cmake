# Cross-building for 64-bit Arm Linux with Debian's cross toolchain against the arm64
# packages installed beside this machine's own (multiarch). What is built here runs on
# this machine through user-mode emulation: CTest starts every test through
# CMAKE_CROSSCOMPILING_EMULATOR, and the tests start the programs they drive through it
# too (tests/support/ChildCommand.h). scripts/arm64.sh uses it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(PKG_CONFIG_EXECUTABLE aarch64-linux-gnu-pkg-config CACHE FILEPATH "pkg-config for the arm64 packages")
# -L /: the arm64 loader and libraries are where multiarch puts them, under this root.
find_program(PELLIX_QEMU_AARCH64 qemu-aarch64 REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${PELLIX_QEMU_AARCH64} -L /)
# Debian's multiarch library folder, which GNUInstallDirs picks only in a native build.
set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Object code libraries")
