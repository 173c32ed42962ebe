# 64-bit Windows by Debian's mingw-w64, with the threads of POSIX, on which the standard library's build. Programs run
# under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triple}-g++-posix)
set(CMAKE_RC_COMPILER ${triple}-windres)

set(FOUNDATION_WINDOWS_DEPENDENCIES "" CACHE PATH "The folder that tools/windows/dependencies prints")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES FOUNDATION_WINDOWS_DEPENDENCIES)

# Nothing of the machine's own, which is for another system. What the user names as a prefix is for this one.
set(CMAKE_FIND_ROOT_PATH "${FOUNDATION_WINDOWS_DEPENDENCIES}" "/usr/${triple}" ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ZLIB_USE_STATIC_LIBS ON)  # A detail of one library: no file of its own beside every program.

# What a program needs beside it besides the libraries that it links by name.
file(GLOB FOUNDATION_COMPILER_LIBRARIES "${FOUNDATION_WINDOWS_DEPENDENCIES}/bin/*.dll")

set(CMAKE_CROSSCOMPILING_EMULATOR
    "${CMAKE_CURRENT_LIST_DIR}/../tools/windows/run" "${FOUNDATION_WINDOWS_DEPENDENCIES}")
