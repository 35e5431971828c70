# fish completion for wardlet: asks the one for bash, which stands beside it below the same folder.
set -g __wardlet_bash (status dirname)/../../bash-completion/completions/wardlet

function __wardlet_offer
    bash -c '. "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _wardlet; printf "%s\n" "${COMPREPLY[@]}"' \
        $__wardlet_bash (commandline -opc) (commandline -ct) 2>/dev/null
end

complete -c wardlet -f -a '(__wardlet_offer)'
