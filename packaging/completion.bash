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
  if [ "$previous" = --accept-loss ]; then  # complete each name in a list with commas
    local before=
    [[ $word != *,* ]] || before=${word%,*},
    COMPREPLY=($(compgen -P "$before" -W "record lower_threshold_prio upper_threshold_prio forwarding_state bfd_peer_ip
      reserved is_bfd_enabled_on_any_group temp_rsrv" -- "${word##*,}"))
    return
  fi
  case $previous in  # the values of these options are not file names
    --from | --to | --release | --vdc | --default | --jobs) COMPREPLY=() && return ;;
  esac
  case ${COMP_WORDS[1]} in
    import) options="--force --json --help" ;;
    export) options="--raw --output --help" ;;
    show) options="--kind --reveal --json --help" ;;
    check) options="--release --json --help" ;;
    diff) options="--ignore-layout --reveal --json --help" ;;
    convert) options="--from --to --plan --vdc --startup --dry-run --summary --accept-loss --default --allow-loss
      --allow-mismatch --no-backup --trace --root --reveal --json --help" ;;
    fleet) options="--from --to --reports --verify --expect --accept-loss --default --jobs --html --json --help" ;;
    restore) options="--no-backup --dry-run --json --help" ;;
  esac
  case $word in
    -*) COMPREPLY=($(compgen -W "$options" -- "$word")) ;;
    *) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;  # names may contain blanks
  esac
}
complete -o filenames -F _vrrpconvert vrrpconvert
