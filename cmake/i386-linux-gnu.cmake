# 32-bit x86 build on an x86_64 Debian host: g++-multilib and the :i386 library packages
# (scripts/bootstrap.sh 32). Programs built with it run on the host.
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)
set(CMAKE_EXE_LINKER_FLAGS_INIT -m32)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -m32)
set(CMAKE_MODULE_LINKER_FLAGS_INIT -m32)
# Finds GTest's and other packages' files under /usr/lib/i386-linux-gnu, not the host's.
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/i386-linux-gnu/pkgconfig:/usr/share/pkgconfig)
# Multilib packages (lib32z1-dev) install there; CMake does not look there by itself on Debian.
list(APPEND CMAKE_LIBRARY_PATH /usr/lib32)
