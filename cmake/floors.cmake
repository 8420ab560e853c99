# Each floor is a library that links only the floors below it: a use that is not declared here fails to link
# (tests/CMakeLists.txt links each floor whole). cvtoss_core is all of them, for main and the tests.

# cvtoss_floor(NAME SOURCES... LINKS...)
function(cvtoss_floor name)
  cmake_parse_arguments(PARSE_ARGV 1 floor "" "" "SOURCES;LINKS")
  add_library(cvtoss_${name} STATIC ${floor_SOURCES})
  target_include_directories(cvtoss_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(cvtoss_${name} PUBLIC cvtoss_options ${floor_LINKS} PRIVATE cvtoss_dialect cvtoss_warnings)
  # Loops over paths, headers and lines are worth vectorizing.
  target_compile_options(cvtoss_${name} PRIVATE $<$<CONFIG:Release>:-O3>)
  # The fuzzers see which code an input reaches.
  if(CVTOSS_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(cvtoss_${name} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
  set_property(GLOBAL APPEND PROPERTY CVTOSS_FLOORS cvtoss_${name})
endfunction()

foreach(folder platform base ftn app bbs toss scan check)
  file(GLOB ${folder}_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${folder}/*.cc)
endforeach()

# src/platform has one set of files for each system.
if(WIN32)
  list(FILTER platform_sources EXCLUDE REGEX "/os_posix[^/]*\\.cc$")
else()
  list(FILTER platform_sources EXCLUDE REGEX "/os_windows[^/]*\\.cc$")
endif()

# In src/app, main and the command line are the top floor; the other files serve every floor above them.
set(main_source ${PROJECT_SOURCE_DIR}/src/app/main.cc)
set(entry_sources ${PROJECT_SOURCE_DIR}/src/app/command_line.cc)
list(REMOVE_ITEM app_sources ${main_source} ${entry_sources})

cvtoss_floor(platform SOURCES ${platform_sources})
cvtoss_floor(base SOURCES ${base_sources} LINKS cvtoss_platform)
cvtoss_floor(ftn SOURCES ${ftn_sources} LINKS cvtoss_base ZLIB::ZLIB)
cvtoss_floor(services SOURCES ${app_sources} LINKS cvtoss_ftn)
cvtoss_floor(bbs SOURCES ${bbs_sources} LINKS cvtoss_services)
cvtoss_floor(toss SOURCES ${toss_sources} LINKS cvtoss_bbs)
cvtoss_floor(scan SOURCES ${scan_sources} LINKS cvtoss_bbs ZLIB::ZLIB)
cvtoss_floor(check SOURCES ${check_sources} LINKS cvtoss_bbs)
cvtoss_floor(entry SOURCES ${entry_sources} LINKS cvtoss_toss cvtoss_scan cvtoss_check)

add_library(cvtoss_core INTERFACE)
target_link_libraries(cvtoss_core INTERFACE cvtoss_entry)
