# Version resource and manifest of the Windows programs. Their number is that of the newest release in CHANGELOG.md.
enable_language(RC)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
file(STRINGS CHANGELOG.md release REGEX "^## \\[[0-9]+\\.[0-9]+\\.[0-9]+\\]" LIMIT_COUNT 1)
string(REGEX REPLACE "^## \\[([0-9.]+)\\].*" "\\1" release "${release}")
string(REPLACE "." "," release_numbers "${release}.0")

# cvtoss_resources(PROGRAM DESCRIPTION)
function(cvtoss_resources program description)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/windows/program.rc.in ${PROJECT_BINARY_DIR}/${program}.rc @ONLY)
  target_sources(${program} PRIVATE ${PROJECT_BINARY_DIR}/${program}.rc)
endfunction()

cvtoss_resources(cvtoss32 "${PROJECT_DESCRIPTION}")
if(CVTOSS_KIT)
  cvtoss_resources(cvkit "Looks into the mail and the message base of a cvtoss32 site")
endif()
