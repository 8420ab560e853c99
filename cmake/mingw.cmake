# Common to both Windows targets. The caller sets mingw_prefix, for example "x86_64-w64-mingw32".
# The "posix" compilers are used: their C++ library has the whole standard library.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_CXX_COMPILER ${mingw_prefix}-g++-posix)
set(CMAKE_RC_COMPILER ${mingw_prefix}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${mingw_prefix})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
# libz.a, not the import library of a DLL.
set(ZLIB_USE_STATIC_LIBS ON)
