# What both cross toolchains share, for TOOLCHAIN_PREFIX set by the one that
# includes this: the posix thread model (for std::thread and std::mutex), the
# target's own headers and libraries, and programs run through Wine.
set(CMAKE_SYSTEM_NAME Windows)

set(CMAKE_C_COMPILER   ${TOOLCHAIN_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TOOLCHAIN_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER  ${TOOLCHAIN_PREFIX}-windres)
set(WIDL_EXECUTABLE    ${TOOLCHAIN_PREFIX}-widl)

set(CMAKE_FIND_ROOT_PATH /usr/${TOOLCHAIN_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR wine)
