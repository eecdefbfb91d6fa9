# For a big-endian machine, with Debian's cross compiler; programs run under qemu's emulation of the
# processor, so that the kernel is that of the machine which builds.

set( CMAKE_SYSTEM_NAME Linux )
set( CMAKE_SYSTEM_PROCESSOR s390x )
set( CMAKE_C_COMPILER s390x-linux-gnu-gcc )
set( CMAKE_CXX_COMPILER s390x-linux-gnu-g++ )
set( CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x -L /usr/s390x-linux-gnu )
