"""Only src/platform uses the operating system.

Elsewhere in src/ no system header is included and no code depends on the target.
"""

import re

from source_tree import SRC, fail_on, files_under, includes_of, lines_of, shown

STANDARD_HEADERS = set("""
    algorithm any array atomic bit bitset cassert cctype cerrno cfenv cfloat charconv chrono cinttypes climits
    clocale cmath compare complex concepts condition_variable coroutine csetjmp csignal cstdarg cstddef cstdint
    cstdio cstdlib cstring ctime cuchar cwchar cwctype deque exception execution filesystem format forward_list
    fstream functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits list
    locale map memory memory_resource mutex new numbers numeric optional ostream queue random ranges ratio regex
    scoped_allocator semaphore set shared_mutex source_location span sstream stack stdexcept stop_token streambuf
    string string_view system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set
    utility valarray variant vector version
    assert.h ctype.h errno.h float.h inttypes.h limits.h math.h setjmp.h signal.h stdarg.h stddef.h stdint.h
    stdio.h stdlib.h string.h time.h uchar.h wchar.h wctype.h
""".split())
LIBRARIES = {"zlib.h"}
KIT_LIBRARIES = {"CLI/CLI.hpp", "fmt/format-inl.h", "fmt/format.h", "nlohmann/json.hpp"}


def allowed(path):
    kit = path.relative_to(SRC).parts[0] == "kit"
    return STANDARD_HEADERS | LIBRARIES | (KIT_LIBRARIES if kit else set())


CONDITIONAL = re.compile(r"\s*#\s*(?:if|ifdef|ifndef|elif|elifdef|elifndef)\b\s*(.*)")
INCLUDE_GUARD = re.compile(r"[A-Z0-9_]+_H_?$")
COMPILER = re.compile(r"defined\(__clang__\)$")  # a compiler's dialect is no property of the target


def outside_platform():
    return [path for path in files_under("src") if path.relative_to(SRC).parts[0] != "platform"]


def test_no_system_header_outside_platform():
    fail_on([f"{shown(path)}:{number}: <{bracketed}> belongs into src/platform"
             for path in outside_platform() for number, _, bracketed in includes_of(path)
             if bracketed and bracketed not in allowed(path)])


def test_no_conditional_code_outside_platform():
    complaints = []
    for path in outside_platform():
        for number, line in lines_of(path):
            match = CONDITIONAL.match(line)
            if match and not INCLUDE_GUARD.match(match.group(1)) and not COMPILER.match(match.group(1)):
                complaints.append(f"{shown(path)}:{number}: {line.strip()}")
    fail_on(complaints)


def test_file_names_are_unique():
    seen = {}
    complaints = []
    for path in files_under("src"):
        if path.name in seen:
            complaints.append(f"{shown(path)}: the name is taken by {shown(seen[path.name])}")
        seen[path.name] = path
    fail_on(complaints)
