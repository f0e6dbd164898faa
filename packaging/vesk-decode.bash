# Completion of vesk-decode for bash.

_vesk_decode() {
  local program=$1 current=$2 previous=$3 values='' before=''
  COMPREPLY=()

  # "--input=hex" comes as three words: the option, "=" and the beginning of its value.
  if [[ $current == = ]]; then
    current=
  elif [[ $previous == = && $COMP_CWORD -ge 2 ]]; then
    previous=${COMP_WORDS[COMP_CWORD - 2]}
  fi

  case $previous in
    -i | --input) values='hex dump xxd-p binary recording usb usbhid-dump usbmon packets array csv log' ;;
    -o | --output) values='text ndjson json csv changes explain recording html screen tap results junit' ;;
    --color) values='auto always never' ;;
    --type) values='input output feature' ;;
    --report | --across)
      values=$("$program" --list-reports 2>/dev/null | awk 'NR > 1 { print $2 }')
      [[ $current == *,* ]] && before=${current%,*}, # the IDs that are there already
      ;;
    --plugin | --viewer | --baseline | --limits) compopt -o filenames ;;
    --device | --endpoint | --jobs | --from | --to | --count | --every | --duration) return ;;
    *)
      if [[ $current == -* ]]; then
        values='-i --input --device --endpoint -o --output --decimal -decimal --headers --lines
                --elements --stats --host-writes --limits --jobs --viewer --color --report --type --from
                --to --count --list-devices --follow --every --duration --wait --plugin --changes
                --baseline --across --list-reports --layout -v --verbose --version -h --help'
      else
        compopt -o filenames
      fi
      ;;
  esac

  if [[ $values ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$values" -P "$before" -- "${current#"$before"}")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -F _vesk_decode vesk-decode
