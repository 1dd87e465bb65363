# Completion of tarn-inspect for bash.

_tarn_inspect() {
  local IFS=$'\n' word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  case $before in
    --method)
      COMPREPLY=($(compgen -W "$("$1" --methods 2>/dev/null | cut -d ' ' -f 1)" -- "$word"))
      return
      ;;
    --status)
      COMPREPLY=($(compgen -W none -- "$word"))
      return
      ;;
    --since | --until | --where) return ;;
    --output) ;;
    *)
      if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W "$(printf '%s\n' --json --annotate --html --stats --diff --method \
          --status --failed --since --until --where --output --methods --help --version)" -- "$word"))
        return
      fi
      ;;
  esac
  compopt -o filenames 2>/dev/null
  COMPREPLY=($(compgen -f -- "$word"))
}
complete -F _tarn_inspect tarn-inspect
