# cvkit, the companion: everything in src/kit except its main is the library cvkit_core. It links the floors of cvtoss32
# (cmake/floors.cmake) except "entry", and is compiled with exceptions and RTTI, which its libraries need.

# The libraries consist of headers only and serve every target. They are copied, because the other headers in their
# directory are for the system that builds.
set(kit_include ${PROJECT_BINARY_DIR}/kit_include)
foreach(header CLI/CLI.hpp nlohmann/json.hpp fmt/format.h)
  string(MAKE_C_IDENTIFIER ${header} name)
  find_path(kit_${name} ${header} PATHS /usr/include /usr/local/include NO_CMAKE_FIND_ROOT_PATH)
  if(NOT kit_${name})
    message(FATAL_ERROR "No <${header}>: run script/bootstrap, or leave cvkit out with -DCVTOSS_KIT=OFF.")
  endif()
  get_filename_component(folder ${header} DIRECTORY)
  file(COPY ${kit_${name}}/${folder} DESTINATION ${kit_include})
endforeach()

file(GLOB kit_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/kit/*.cc)
set(kit_main ${PROJECT_SOURCE_DIR}/src/kit/kit_main.cc)
list(REMOVE_ITEM kit_sources ${kit_main})

# Those that need the large headers last, so that they are compiled together.
set(kit_commands ${kit_sources})
list(FILTER kit_commands INCLUDE REGEX "_(command|command_line|render|output)\\.cc$")
list(REMOVE_ITEM kit_sources ${kit_commands})
list(APPEND kit_sources ${kit_commands})

# The functions of {fmt} 9 are compiled once; those of another version in every file that uses them.
file(STRINGS ${kit_include}/fmt/core.h fmt_9 REGEX "^#define FMT_VERSION 9[0-9][0-9][0-9][0-9]$")
if(NOT fmt_9)
  list(REMOVE_ITEM kit_sources ${PROJECT_SOURCE_DIR}/src/kit/fmt_library.cc)
endif()

# The meaning of log lines is written only in the guide, which cvkit contains.
set(guide ${PROJECT_SOURCE_DIR}/docs/operators-guide.md)
set(guide_source ${PROJECT_BINARY_DIR}/guide_text.cc)
set(guide_script ${PROJECT_SOURCE_DIR}/cmake/guide_text.cmake)
add_custom_command(OUTPUT ${guide_source} DEPENDS ${guide} ${guide_script} VERBATIM
  COMMAND ${CMAKE_COMMAND} -DGUIDE=${guide} -DSOURCE=${guide_source} -P ${guide_script})
set_source_files_properties(${guide_source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)

add_library(cvkit_core STATIC ${kit_sources} ${guide_source})
target_include_directories(cvkit_core PUBLIC ${PROJECT_SOURCE_DIR}/src)
target_include_directories(cvkit_core SYSTEM PUBLIC ${kit_include})
if(NOT fmt_9)
  target_compile_definitions(cvkit_core PUBLIC FMT_HEADER_ONLY)
endif()
target_link_libraries(cvkit_core PUBLIC cvtoss_toss cvtoss_scan ZLIB::ZLIB PRIVATE cvtoss_warnings)
if(CVTOSS_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(cvkit_core PRIVATE -fsanitize=fuzzer-no-link)
endif()

# The libraries' headers take longer to compile than our code: several files at a time are compiled as one, which takes
# a sixth of the time. A name in an unnamed namespace must therefore be unique in src/kit.
set_target_properties(cvkit_core PROPERTIES UNITY_BUILD ${CVTOSS_UNITY} UNITY_BUILD_BATCH_SIZE ${CVTOSS_UNITY_BATCH})

# cvkit waits for the disk and for zlib: what the floors gain from more optimization is only lost time here, except
# where every record of the message base goes through or every byte of a file.
target_compile_options(cvkit_core PRIVATE $<$<CONFIG:Debug>:-O0> $<$<CONFIG:Release>:-O1>)
foreach(name base_model index_judge sha256 verify_base verify_sig)
  set_source_files_properties(${PROJECT_SOURCE_DIR}/src/kit/${name}.cc
    PROPERTIES COMPILE_OPTIONS "$<$<CONFIG:Debug>:-O1>;$<$<CONFIG:Release>:-O3>")
endforeach()

# Where to look for the installed programs when a copy of cvkit is called.
include(GNUInstallDirs)
set(CVTOSS_INSTALLED_IN "${CMAKE_INSTALL_FULL_BINDIR}" CACHE STRING "The directory in which the programs are installed")
set_source_files_properties(${PROJECT_SOURCE_DIR}/src/kit/program_copy.cc
  PROPERTIES COMPILE_DEFINITIONS "CVTOSS_INSTALLED_IN=\"${CVTOSS_INSTALLED_IN}\"")

add_executable(cvkit ${kit_main})
target_link_libraries(cvkit PRIVATE cvkit_core cvtoss_warnings)
