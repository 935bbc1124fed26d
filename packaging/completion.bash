# Completion for vrrpconvert in bash, and in zsh by bashcompinit. Commands, options and values are those of --help.
_vrrpconvert_words() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command= before= given words
  [ "$COMP_CWORD" -eq 1 ] || command=${COMP_WORDS[1]}
  [ "$previous" != --accept-loss ] || before=${word%"${word##*,}"}  # a list with commas
  given="${COMP_WORDS[*]:0:$COMP_CWORD} ${COMP_WORDS[*]:$((COMP_CWORD + 1))} $before"
  # The words that fit and are not given, "files" for names of files, or nothing for another value.
  words=$("${COMP_WORDS[0]}" $command --help 2>/dev/null | awk -v option="$previous" -v given="$given" '
    BEGIN { for (n = split(given, all, /[ ,]/); n > 0; --n) is_given[all[n]] }
    /^[A-Z]/ { section = $1 }
    section == "Subcommands:" && /^  [a-z]/ { commands = commands " " $1 }
    section == "Options:" && /^  -/ { name = $1; sub(/.*,/, "", name); text[name] = ""
      if ($2 ~ /^([A-Z][^a-z]*|[{].*)$/) value[name] = $2
      if (!(name in is_given) || $2 ~ /\.\.\.$/) options = options " " name }
    section == "Options:" { text[name] = text[name] $0 }
    function not_given(list) { gsub(/[{}, ]+/, " ", list); n = split(list, all, " "); list = ""
      for (i = 1; i <= n; ++i) if (!(all[i] in is_given)) list = list " " all[i]
      return list }
    END { if (option in value && match(text[option], /[{].*[}]/)) print not_given(substr(text[option], RSTART, RLENGTH))
      else if (option in value) print value[option] ~ /^(FILE|DIR)$/ ? "files" : ""
      else print commands ? commands options : "files" options }')
  COMPREPLY=()
  case $words in
    files*) case $word in -*) COMPREPLY=($(compgen -W "${words#files}" -- "$word")) ;; esac ;;
    *) compopt +o default 2>/dev/null || :
      COMPREPLY=($(compgen -P "$before" -W "$words" -- "${word##*,}")) ;;
  esac
}
complete -o default -o filenames -F _vrrpconvert_words vrrpconvert
