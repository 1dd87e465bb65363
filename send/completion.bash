# Completion of tarn-send for bash.

_tarn_send() {
  local IFS=$'\n' word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} methods method="" one
  COMPREPLY=()
  case $before in
    --ca | --cert | --key | --file | --output | --platform | --library | --html | --replay)
      compopt -o filenames 2>/dev/null
      COMPREPLY=($(compgen -f -- "$word"))
      return
      ;;
    --to | --deadline | --server-name | --rate | --duration | --count | --in-flight | --speed | : | =) return ;;
  esac
  if [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W "$(printf '%s\n' --template --fields --methods --to --deadline --full --stream --ca \
      --cert --key --server-name --async --oneway --file --keep-going --dry-run --output --platform --library \
      --load --rate --duration --count --in-flight --json --html --replay --speed --check --help --version)" -- "$word"))
    return
  fi
  methods=$("$1" --methods 2>/dev/null | cut -d ' ' -f 1)
  # The shell takes a target apart at its colon: the method is the word that is one.
  for one in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $'\n'$methods$'\n' != *$'\n'"$one"$'\n'* ]] || method=$one
  done
  if [[ -z $method ]]; then
    COMPREPLY=($(compgen -W "$methods" -- "$word"))
  else
    compopt -o nospace 2>/dev/null
    COMPREPLY=($(compgen -W "$("$1" --fields "$method" 2>/dev/null | sed 's/ .*/=/')" -- "$word"))
  fi
}
complete -F _tarn_send tarn-send
