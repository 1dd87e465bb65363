# Completion of tarn-send for bash.

_tarn_send() {
  local word=${COMP_WORDS[COMP_CWORD]} line=${COMP_LINE:0:COMP_POINT} words before method="" i
  COMPREPLY=()
  read -rd '' -a words <<<"$line"  # the shell's own words also end at : and =
  [[ $line != *[[:space:]] ]] || words+=("")
  local IFS=$'\n'
  before=${words[-2]}
  [[ ${words[-1]} != --*=* ]] || before=${words[-1]%%=*}
  for ((i = 1; i < ${#words[@]} - 1; ++i)); do
    case ${words[i]} in
      --to | --deadline | --ca | --cert | --key | --server-name | --file | --output | --platform | --library | \
        --rate | --duration | --count | --in-flight | --html) ((++i)) ;;
      -*) ;;
      *)
        method=${words[i]}
        break
        ;;
    esac
  done
  case $before in
    --ca | --cert | --key | --file | --output | --platform | --library | --html)
      compopt -o filenames 2>/dev/null
      COMPREPLY=($(compgen -f -- "${word#=}"))
      return
      ;;
    --to | --deadline | --server-name | --rate | --duration | --count | --in-flight) return ;;
  esac
  if [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W "$(printf '%s\n' --template --fields --methods --to --deadline --full --stream --ca \
      --cert --key --server-name --async --oneway --file --keep-going --dry-run --output --platform --library \
      --load --rate --duration --count --in-flight --json --html --help --version)" -- "$word"))
  elif [[ -z $method || $before == --template || $before == --fields ]]; then
    COMPREPLY=($(compgen -W "$("$1" --methods 2>/dev/null | cut -d ' ' -f 1)" -- "$word"))
  else
    compopt -o nospace 2>/dev/null
    COMPREPLY=($(compgen -W "$("$1" --fields "$method" 2>/dev/null | sed 's/ .*/=/')" -- "$word"))
  fi
}
complete -F _tarn_send tarn-send
