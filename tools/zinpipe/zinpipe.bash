# Completion of zinpipe for bash.                          -*- shell-script -*-

_zinpipe() {
  local current=$2 previous=$3
  COMPREPLY=()
  case $previous in
    --dir)
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      compopt -o filenames 2>/dev/null
      return
      ;;
    --level)
      mapfile -t COMPREPLY < <(compgen -W 'FATAL ERROR WARN INFO DEBUG' -- "$current")
      return
      ;;
    --size | --max-bytes)
      mapfile -t COMPREPLY < <(compgen -W '1M 10M 100M 1G' -- "$current")
      return
      ;;
    --name | --keep | --max-files | --queue | --subdir | --tag | --drain)
      return
      ;;
  esac
  if [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W '--dir --name --size --keep --max-files --max-bytes --queue
      --subdir --stamp --level --tag --echo --follow --retry --drain --help --version' -- "$current")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -f -- "$current")
  compopt -o filenames 2>/dev/null
}

complete -F _zinpipe zinpipe
