# Converts the operator's guide to a C++ source: cmake -DGUIDE=... -DSOURCE=... -P guide_text.cmake
# Each section becomes a raw string of its own, because compilers warn about very long ones.
file(READ ${GUIDE} guide)
string(REPLACE "\n## " ")guide\",\n    R\"guide(\n## " guide "${guide}")
file(WRITE ${SOURCE} "// Made from ${GUIDE}.
#include \"kit/guide_table.h\"

const std::vector<std::string_view>& GuideSections() {
  static const std::vector<std::string_view> sections = {
    R\"guide(${guide})guide\",
  };
  return sections;
}
")
