#!/usr/bin/env bash
# Common code of the scripts. Each sources this first, with its own arguments; the working directory is then the root of
# the tree.
set -euo pipefail

script=script/${0##*/}
caller=$PWD
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

# The comment at the head of a script is its help; the lines of it that show a call are its usage.
explanation() { sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$script"; }
usage() { explanation | sed -n "s|^  *\($script.*\)|usage: \1|p"; }

for argument in "$@"; do
  if [[ $argument == -h || $argument == --help ]]; then
    explanation
    exit 0
  fi
done

refuse() { # WHAT IS WRONG
  echo "$script: $*" >&2
  usage >&2
  exit 2
}

refuse_options() { # ARGUMENT...
  local argument
  for argument in "$@"; do
    [[ $argument != -* ]] || refuse "unknown option: $argument"
  done
}

at_most() { # COUNT ARGUMENT...
  local count=$1
  shift
  (($# <= count)) || refuse "one argument too many: ${*:count + 1:1}"
}

only_words() { # "WORD..." ARGUMENT...
  local words=$1 argument
  shift
  for argument in "$@"; do
    [[ $argument =~ ^[a-z0-9-]+$ && " $words " == *" $argument "* ]] || {
      refuse_options "$argument"
      refuse "unknown argument: '$argument'"
    }
  done
}

from_caller() { (cd "$caller" && realpath -ms -- "$1"); }  # a path that the caller gave, whole
for_caller() { printf '%s' "${1#"$caller"/}"; }            # a whole path, as the caller would write it

# quiet_build PRESET [TARGET]...: shows the output of the build only when it fails.
quiet_build() {
  local log=build/${script##*/}-build.log preset=$1
  shift
  mkdir -p build
  if ! { cmake --preset "$preset" && cmake --build --preset "$preset" --target "${@:-all}"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "$script: the build of $preset failed; what it said is in $log too" >&2
    exit 1
  fi
}
