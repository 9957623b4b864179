# bash completion for fusekit
_fusekit() {
  local cur prev words cword
  _init_completion 2>/dev/null || {
    cur="${COMP_WORDS[COMP_CWORD]}"
    prev="${COMP_WORDS[COMP_CWORD-1]}"
  }
  local commands="devices crc check compare verify info dump convert extract usercode merge split"
  local command="" word
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case " $commands " in *" $word "*) command="$word"; break ;; esac
  done
  case "$prev" in
    --device)
      COMPREPLY=($(compgen -W "$(fusekit devices 2>/dev/null | awk 'NR > 1 {print $1}')" -- "$cur"))
      return ;;
    --format|--out-format)
      COMPREPLY=($(compgen -W "jedec isc bit rbt ihex srec tek bin fea" -- "$cur"))
      return ;;
    --settings)
      COMPREPLY=($(compgen -f -X '!*.ini' -- "$cur"))
      return ;;
    --bit-order)
      COMPREPLY=($(compgen -W "plain device" -- "$cur"))
      return ;;
  esac
  if [ -z "$command" ]; then
    COMPREPLY=($(compgen -W "$commands --device-db --help --version" -- "$cur"))
    return
  fi
  if [[ "$cur" == -* ]]; then
    local options
    options=$(fusekit "$command" --help 2>/dev/null | grep -o -- '--[a-z-]*' | sort -u)
    COMPREPLY=($(compgen -W "$options" -- "$cur"))
    return
  fi
  COMPREPLY=($(compgen -f -- "$cur"))
}
complete -o filenames -F _fusekit fusekit
