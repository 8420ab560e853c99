# How everything here is compiled and linked, in three interface targets:
#   cvtoss_options    needed for the parts to fit together; the tests and GoogleTest use it as well
#   cvtoss_dialect    C++ without exceptions and RTTI: cvtoss32 and its tests, not cvkit
#   cvtoss_warnings   for our own code only

add_library(cvtoss_options INTERFACE)
add_library(cvtoss_dialect INTERFACE)
target_compile_options(cvtoss_dialect INTERFACE -fno-exceptions -fno-rtti)

if(MINGW)
  # The C99 formats ("%zu", "%lld") in printf and its family, whatever C runtime the target has.
  target_compile_definitions(cvtoss_options INTERFACE __USE_MINGW_ANSI_STDIO=1)
  # One .exe that needs no DLL beside it, and the same bytes from the same sources.
  target_link_options(cvtoss_options INTERFACE -static -Wl,--no-insert-timestamp)
else()
  # 64-bit file sizes on 32-bit systems as well.
  target_compile_definitions(cvtoss_options INTERFACE _FILE_OFFSET_BITS=64)
endif()

if(CVTOSS_SANITIZE)
  set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all)
  target_compile_options(cvtoss_options INTERFACE ${sanitizers} -fno-omit-frame-pointer)
  target_link_options(cvtoss_options INTERFACE ${sanitizers})
else()
  # Hardening: the program reads files from untrusted senders.
  target_compile_options(cvtoss_options INTERFACE -fstack-protector-strong)
  target_link_options(cvtoss_options INTERFACE -fstack-protector-strong)
  # Options rather than a definition, for their order: some compilers come with a value of their own, and warn.
  target_compile_options(cvtoss_options INTERFACE "$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  if(NOT WIN32)
    target_link_options(cvtoss_options INTERFACE -Wl,-z,relro,-z,now)
  endif()
endif()

# No path of the building machine in the program.
target_compile_options(cvtoss_options INTERFACE
  $<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>)

add_library(cvtoss_warnings INTERFACE)
target_compile_options(cvtoss_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # The ABI of vector arguments does not matter: only functions within one file pass them.
  target_compile_options(cvtoss_warnings INTERFACE -Wno-psabi)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # Clang counts sign changes as conversions, g++ does not; ask the same of both.
  target_compile_options(cvtoss_warnings INTERFACE -Wno-sign-conversion)
endif()
if(CVTOSS_WERROR)
  target_compile_options(cvtoss_warnings INTERFACE -Werror)
endif()
