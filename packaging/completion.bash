# bash completion for vrrpconvert
_vrrpconvert() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} options
  if [ "$COMP_CWORD" -eq 1 ]; then
    COMPREPLY=($(compgen -W "import export show check diff convert fleet restore --help" -- "$word"))
    return
  fi
  if [ "$previous" = --kind ]; then
    COMPREPLY=($(compgen -W "vr ip_assoc global_info track other" -- "$word"))
    return
  fi
  case $previous in  # no file is meant
    --from | --to | --release | --vdc | --accept-loss | --jobs) COMPREPLY=() && return ;;
  esac
  case ${COMP_WORDS[1]} in
    import) options="--force --json --help" ;;
    export) options="--raw --output --help" ;;
    show) options="--kind --reveal --json --help" ;;
    check) options="--release --json --help" ;;
    diff) options="--ignore-layout --reveal --json --help" ;;
    convert) options="--from --to --vdc --startup --dry-run --summary --accept-loss --allow-loss
      --allow-mismatch --no-backup --trace --root --reveal --json --help" ;;
    fleet) options="--from --to --reports --accept-loss --jobs --html --json --help" ;;
    restore) options="--no-backup --json --help" ;;
  esac
  case $word in
    -*) COMPREPLY=($(compgen -W "$options" -- "$word")) ;;
    *) COMPREPLY=($(compgen -f -- "$word")) ;;
  esac
}
complete -o filenames -F _vrrpconvert vrrpconvert
