# Completion of cvkit's commands, options and files for bash.
_cvkit() {
  local word=${COMP_WORDS[COMP_CWORD]} commands="packet messages verify explain rehearse ledger doctor status report setup tidy" options
  case ${COMP_WORDS[1]} in
    packet) options="--help --config --json --text --raw --without --output --extract --force" ;;
    messages) options="--help --config --json --threads --number --text --search --unsent --from --to --since --export
      --force --mark-sent --before --apply" ;;
    verify) options="--help --config --json --repair --undo" ;;
    explain) options="--help --config --json --log" ;;
    rehearse) options="--help --config --json --program --keep" ;;
    ledger) options="--help --config --json --since --until --msgid --log --sum" ;;
    doctor) options="--help --config --json --log --box" ;;
    status) options="--help --config --json --log --verbose --prometheus" ;;
    report) options="--help --config --json --output --force --log" ;;
    setup) options="--help --config --json --confdir --msgdir --workdir --address --hub --system --pktpw --inbound --outdir --keepprocessed --processeddir --binkd --program --yes --force --copy --update" ;;
    tidy) options="--help --config --json --older --rotate --log --apply" ;;
    *) options="--help --version" ;;
  esac
  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W "$commands $options" -- "$word")
  elif [[ $word == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}
complete -o filenames -F _cvkit cvkit
