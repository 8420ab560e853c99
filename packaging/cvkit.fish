# Completion of cvkit's commands, options and files for fish.
complete -c cvkit -n __fish_use_subcommand -l help -d "Show the help"
complete -c cvkit -n __fish_use_subcommand -l version -d "Show the version"
complete -c cvkit -n __fish_use_subcommand -a verify -d "Is the message base sound?"
complete -c cvkit -n "__fish_seen_subcommand_from verify" -l help -d "Show the help"
complete -c cvkit -n "__fish_seen_subcommand_from verify" -l config -r -d "The configuration of cvtoss32"
complete -c cvkit -n "__fish_seen_subcommand_from verify" -l json -d "Print one JSON object"
