# bash completion for wardlet. tests/packaging/completion_test compares each command's words with its help.

# _wardlet_words COMMAND: what may follow it: commands, or options.
_wardlet_words() {
  case $1 in
    '') echo run install uninstall version machine trace events crashes dump demo --version --help ;;
    run) echo --machine -o --output --idle-exit --duration --flags -q --quiet -h --help ;;
    install | uninstall | 'machine boot' | 'machine info') echo --machine -h --help ;;
    machine) echo new boot crash emit sessions registry info -h --help ;;
    'machine sessions' | 'machine registry') echo --machine --json -h --help ;;
    'machine emit')
      echo --machine --provider --count --first --rate --threads --keyword --template --size --gap-every \
        --repeat-every --restart-every --flags --seed -q --quiet --file --event -h --help
      ;;
    trace) echo info cat gaps -h --help ;;
    'trace info') echo --json -h --help ;;
    'trace cat') echo --manifest --provider --count -h --help ;;
    'machine crash') echo --machine --dump --bugcheck --code --parameters --power-loss -h --help ;;
    events) echo --query --newest --encoding --json -h --help ;;
    crashes) echo --machine --encoding --json -h --help ;;
    dump) echo info report -h --help ;;
    'dump info') echo --json -h --help ;;
    'dump report') echo --flags --keep -h --help ;;
    demo) echo --keep -h --help ;;
    version | 'machine new' | 'trace gaps') echo -h --help ;;
  esac
}

# _wardlet_value COMMAND OPTION WORD: the values of an option that takes one, else fails. An option whose values can't be
# listed gets none.
_wardlet_value() {
  local IFS=$' \n'
  case "$1 $2" in
    *' --machine') compgen -d -- "$3" ;;
    *' --output' | *' -o' | *' --file' | *' --manifest') compgen -f -- "$3" ;;
    'machine crash --dump') compgen -W 'small kernel complete' -- "$3" ;;
    'machine emit --template') compgen -W 'ansi wide binary mixed' -- "$3" ;;
    'run --flags') compgen -W '0 1 2 3' -- "$3" ;;
    'dump report --flags') compgen -W '1 2 3' -- "$3" ;;
    'machine emit --provider') compgen -W 'ProviderSample SourceUsb DestUsb VirtualHid KVirtualAudio KelvoGamePad KelvoIDD' -- "$3" ;;
    'machine emit --count' | *' --idle-exit' | *' --duration' | *' --first' | *' --rate' | *' --threads' | \
      *' --keyword' | *' --size' | *-every | *' --flags' | *' --seed' | *' --event' | *' --provider' | *' --query' | *' --newest' | *' --encoding' | *' --code' | *' --parameters' | *' --bugcheck') ;;
    *) return 1 ;;
  esac
  return 0
}

_wardlet() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' i
  # The commands are the words before any option: "machine" or "machine emit".
  for ((i = 1; i < COMP_CWORD; i++)); do
    case "${COMP_WORDS[i]}/$command" in
      -*) break ;;
      */) command=${COMP_WORDS[i]} ;;
      */machine | */trace | */dump) command+=" ${COMP_WORDS[i]}" ;;
      *) break ;;
    esac
  done
  local IFS=$'\n' values
  compopt -o filenames 2>/dev/null
  if values=$(_wardlet_value "$command" "$before" "$word"); then
    COMPREPLY=($values)
    return
  fi
  COMPREPLY=()
  case "$command $word" in
    'machine new '* | 'machine boot '* | 'machine crash '* | 'machine info '* | 'machine sessions '*)
      [[ $word == -* ]] || COMPREPLY=($(compgen -d -- "$word"))
      ;;
    'trace info '* | 'trace cat '* | 'trace gaps '* | 'dump info '* | 'dump report '* | 'events '* | 'crashes '*) [[ $word == -* ]] || COMPREPLY=($(compgen -f -- "$word")) ;;
  esac
  if [ -z "${COMPREPLY[*]}" ]; then
    compopt +o filenames 2>/dev/null
    IFS=$' \n'
    COMPREPLY=($(compgen -W "$(_wardlet_words "$command")" -- "$word"))
  fi
}

complete -F _wardlet wardlet
