# Completion of qvxctl for bash.

_qvxctl_words() {
  mapfile -t COMPREPLY < <(compgen -W "$1" -- "${COMP_WORDS[COMP_CWORD]}")
}

_qvxctl() {
  local command=${COMP_WORDS[1]-} previous=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    _qvxctl_words 'show check log --version --help'
    return
  fi
  case $previous in
    --severity) _qvxctl_words 'information warning error critical' && return ;;
    --kept) mapfile -t COMPREPLY < <(compgen -d -- "${COMP_WORDS[COMP_CWORD]}") && return ;;
    --from | --since) return ;;
  esac
  case $command in
    show) _qvxctl_words '--diff --json --help' ;;
    check) _qvxctl_words '--from --daemon --kept --json --help' ;;
    log) _qvxctl_words '--follow --severity --since --json --help' ;;
  esac
}

complete -F _qvxctl qvxctl
