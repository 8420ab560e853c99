# Completion of cvkit's commands, options and files for fish.
complete -c cvkit -n __fish_use_subcommand -l help -d "Show the help"
complete -c cvkit -n __fish_use_subcommand -l version -d "Show the version"
