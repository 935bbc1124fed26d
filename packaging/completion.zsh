#compdef vrrpconvert
# zsh completion for vrrpconvert
local -a commands
commands=(
  'import:create a store from JSON lines'
  'export:write the records of a store as JSON lines'
  'show:show the records of a store as tables'
  'check:check that a store is intact'
  'diff:show the differences between two stores'
  'convert:convert the store in a directory'
  'fleet:perform the dry run for many devices'
  'restore:replace a store with a backup or snapshot'
)
if (( CURRENT == 2 )); then
  _describe command commands
  return
fi
local -a fields
fields=(record lower_threshold_prio upper_threshold_prio forwarding_state bfd_peer_ip reserved
  is_bfd_enabled_on_any_group temp_rsrv)
local json='--json[print one JSON object]' reveal='--reveal[show authentication keys]'
case $words[2] in
  import) _arguments '--force[replace an existing store]' $json '*:file:_files' ;;
  export) _arguments '--raw[write hexadecimal digits]' '--output[write to a new file]:file:_files' '*:store:_files' ;;
  show)
    _arguments '--kind[show only this kind]:kind:(vr ip_assoc global_info track other)' $reveal $json \
      '*:store:_files' ;;
  check) _arguments '--release[the release that will read it]:release:' $json '*:store:_files' ;;
  diff) _arguments '--ignore-layout[compare only the fields of both layouts]' $reveal $json '*:store:_files' ;;
  convert)
    _arguments '--from[the release that wrote the store]:release:' '--to[the release that will read it]:release:' \
      '--plan[convert as this report says]:file:_files' '*--default[default value of a field]:FIELD=VALUE:' \
      '--vdc[number of the VDC]:number:' '--startup[inspect the saved startup store]' '--dry-run[change nothing]' \
      '--allow-loss[convert even if values are lost]' '--summary[do not list the changes]' \
      '*--accept-loss[fields that may be lost]:fields:_sequence compadd - $fields' \
      '--allow-mismatch[convert despite a mismatch]' \
      '--no-backup[do not write a backup]' \
      '--trace[append trace lines]:file:_files' '--root[directory to use as /]:directory:_directories' \
      $reveal $json '*:directory:_directories' ;;
  fleet)
    _arguments '--from[the release that wrote the stores]:release:' '--to[the release that will read them]:release:' \
      '--verify[compare stores with their backups]' '--expect[file of device names]:file:_files' \
      '*--default[default value of a field]:FIELD=VALUE:' '--reports[read saved reports]' \
      '*--accept-loss[fields that may be lost]:fields:_sequence compadd - $fields' \
      '--jobs[dry runs at a time]:number:' \
      '--html[write a page to this new file]:file:_files' $json '*:directory:_directories' ;;
  restore)
    _arguments $json '--no-backup[do not keep the replaced store]' '--dry-run[change nothing]' '*:store:_files' ;;
esac
