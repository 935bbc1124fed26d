#compdef vrrpconvert
# Completion for vrrpconvert in zsh, by the script for bash.
autoload -U +X bashcompinit && bashcompinit
source "${${(%):-%x}:A:h}/../../bash-completion/completions/vrrpconvert"
_bash_complete -o default -o filenames -F _vrrpconvert_words
