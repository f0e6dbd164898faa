# Completion of vesk-emulate for bash.

_vesk_emulate() {
  local program=$1 current=$2 previous=$3 values='' i
  COMPREPLY=()

  # Behind "--" stands the command.
  for ((i = 1; i < COMP_CWORD; ++i)); do
    [[ ${COMP_WORDS[i]} == -- ]] || continue
    if [[ $(type -t _command_offset) == function ]]; then
      _command_offset $((i + 1))
    elif ((i + 1 == COMP_CWORD)); then
      mapfile -t COMPREPLY < <(compgen -c -- "$current")
    else
      compopt -o filenames
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
    return
  done

  # "--input=hex" comes as three words: the option, "=" and the beginning of its value.
  if [[ $current == = ]]; then
    current=
  elif [[ $previous == = && $COMP_CWORD -ge 2 ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi

  case $previous in
    -i | --input)
      values=$("$program" -i '?' 2>&1 | sed -n 's/.*choose one of \([^;]*\);.*/\1/p' | tr -d ,)
      ;;
    --fault)
      values='stall= short= long= empty= other-id= late= gone='
      compopt -o nospace
      ;;
    --node)
      values=/dev/hidraw
      compopt -o nospace
      ;;
    --device | --name | --serial | --ids | --rate | --unplug-after | --return-after | --appear-after)
      return
      ;;
    *)
      if [[ $current == -* ]]; then
        values='-i --input --device --node --name --serial --ids --uhid --rate --as-fast-as-possible
                --loop --fault --unplug-after --return-after --appear-after --refuse --stats --version
                -h --help'
      else
        compopt -o filenames
      fi
      ;;
  esac

  if [[ $values ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$values" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -F _vesk_emulate vesk-emulate
