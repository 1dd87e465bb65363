# Completion of tarn-send for bash.

_tarn_send() {
  local IFS=$'\n' word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} method="" i
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      --to | --deadline | --ca | --cert | --key | --server-name | --file | --output | --platform | --library | \
        --rate | --duration | --count | --in-flight | --html | --replay | --speed | --method | \
        --status | --since | --until | --where) ((++i)) ;;
      -*) ;;
      *)
        method=${COMP_WORDS[i]}
        break
        ;;
    esac
  done
  case $before in
    --ca | --cert | --key | --file | --output | --platform | --library | --html | --replay)
      compopt -o filenames 2>/dev/null
      COMPREPLY=($(compgen -f -- "$word"))
      return
      ;;
    --to | --deadline | --server-name | --rate | --duration | --count | --in-flight | --speed | --status | \
      --since | --until | --where) return ;;
  esac
  if [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W "$(printf '%s\n' --template --fields --methods --to --deadline --full --stream --ca \
      --cert --key --server-name --async --oneway --file --keep-going --dry-run --output --platform --library \
      --load --rate --duration --count --in-flight --json --html --replay --speed --check \
      --method --status --failed --since --until --where --help --version)" -- "$word"))
  elif [[ -z $method || $before == --template || $before == --fields ||
    $before == --method ]]; then
    COMPREPLY=($(compgen -W "$("$1" --methods 2>/dev/null | cut -d ' ' -f 1)" -- "$word"))
  else
    compopt -o nospace 2>/dev/null
    COMPREPLY=($(compgen -W "$("$1" --fields "$method" 2>/dev/null | sed 's/ .*/=/')" -- "$word"))
  fi
}
complete -F _tarn_send tarn-send
